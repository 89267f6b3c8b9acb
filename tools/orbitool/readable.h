#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace orbi {

/// What is wrong with a file, for one line.
struct Fault {
  std::string reason;
  int64_t line = 0; ///< from 1; 0 for none
};

/// A text for the terminal, as UTF-8: what isn't UTF-8 already is taken for Windows-1252, and
/// control characters appear as escapes.
std::string readable(std::string_view text);
std::string inQuotes(std::string_view text); ///< between quotes, those inside with a backslash

std::string counted(int64_t count, const char* one, const char* many); ///< "1 item", "2 items"

/// ", 3 bytes: 01 02 FF", with so many of the first bytes as fit a line.
void printBytes(std::ostream& out, std::string_view bytes);

/// Starts a line of a tree. Far down the indent stays and the depth is told as a number, so that
/// the output doesn't grow with the square of the depth.
std::ostream& startLine(std::ostream& out, int64_t depth);

/// "FILE: line N: reason", always one line.
void printFault(std::ostream& err, std::string_view file, const Fault& fault);

} // namespace orbi
