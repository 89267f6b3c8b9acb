#include "platform/linux/file_uri.h"

#include <algorithm>
#include <optional>
#include <string>
#include <unistd.h>

namespace orbi::platform {

namespace {

int digitOf(char c)
{
  if (c >= '0' && c <= '9')
    return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Bytes written as a percent sign and two digits; nothing when there is a zero among them.
std::optional<std::string> decoded(std::string_view text)
{
  std::string result;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%' && i + 2 < text.size() && digitOf(text[i + 1]) >= 0 && digitOf(text[i + 2]) >= 0) {
      c = static_cast<char>(digitOf(text[i + 1]) * 16 + digitOf(text[i + 2]));
      i += 2;
    }
    if (c == '\0')
      return std::nullopt;
    result += c;
  }
  return result;
}

bool isThisMachine(std::string_view host)
{
  char own[256] = {};
  gethostname(own, sizeof own - 1);
  return host.empty() || host == "localhost" || host == own;
}

} // namespace

std::filesystem::path localFile(std::string_view uri)
{
  constexpr std::string_view scheme = "file:";
  if (!uri.starts_with(scheme))
    return {};
  uri.remove_prefix(scheme.size());
  if (uri.starts_with("//")) {
    uri.remove_prefix(2);
    const size_t end = std::min(uri.find('/'), uri.size());
    if (!isThisMachine(uri.substr(0, end)))
      return {};
    uri.remove_prefix(end);
  }
  if (!uri.starts_with('/'))
    return {};
  return decoded(uri).value_or(std::string());
}

std::vector<std::filesystem::path> localFiles(std::string_view uris)
{
  std::vector<std::filesystem::path> result;
  while (!uris.empty()) {
    const size_t end = std::min(uris.find_first_of("\r\n"), uris.size());
    const std::filesystem::path file = localFile(uris.substr(0, end));
    if (!file.empty())
      result.push_back(file);
    uris.remove_prefix(std::min(end + 1, uris.size()));
  }
  return result;
}

} // namespace orbi::platform
