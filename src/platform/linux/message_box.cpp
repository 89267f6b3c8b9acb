#include "platform/message_box.h"

#include <cstdio>
#include <string>

namespace orbi::platform {

/// Line ends and other control characters become spaces, so nothing in a message passes for a line
/// of its own or steers the terminal.
static void appendFolded(std::string& line, std::string_view text)
{
  for (char character : text) {
    const auto code = static_cast<unsigned char>(character);
    const bool control = code < 0x20 || code == 0x7f;
    if (!control)
      line += character;
    else if (!line.empty() && line.back() != ' ')
      line += ' ';
  }
  while (!line.empty() && line.back() == ' ')
    line.pop_back();
}

void StandardErrorMessages::show(std::string_view title, std::string_view text)
{
  std::string line;
  appendFolded(line, title);
  if (!line.empty() && !text.empty())
    line += ": ";
  appendFolded(line, text);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr); // unbuffered, so in one piece
}

} // namespace orbi::platform
