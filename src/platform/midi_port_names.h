#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orbi::platform {

/// One name for a user out of a client's and its port's, who often repeat each other. Never empty;
/// at most 200 bytes, cut between characters.
std::string midiPortName(std::string_view client, std::string_view port);

/// At most `longest` bytes, cut between characters.
std::string cutUtf8(std::string_view text, std::size_t longest);

/// Keeps the names of one list unique and every port under its own for as long as it is there, also
/// when one of two that are called the same goes. The second of these is called "<name> 2".
class MidiPortNamer {
public:
  struct Port {
    std::string identity; ///< what the system tells it by, unique in the list
    std::string wish;
  };
  std::vector<std::string> name(const std::vector<Port>& ports);

private:
  struct Given {
    std::string wish, name;
  };
  std::map<std::string, Given> given_; // by identity
};

} // namespace orbi::platform
