#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orbi {

class PPort;

/// Finds ports by their identifiers, one among thousands as quickly as one among ten, whatever they
/// are called. Whoever keeps the index tells it of other names. Ports are borrowed.
class PPortIndex {
public:
  void add(PPort& port); ///< comes last among those of the same identifier
  void remove(const PPort& port);
  PPort* find(std::string_view id) const; ///< the one that came first; null for none

  const std::string& idOf(const PPort& port) const; ///< under which it is found; empty for none
  bool isOutdated(const PPort& port) const;         ///< it has another one by now
  void update(PPort& port);                         ///< keeps its place in the order of arrival

private:
  struct Place {
    uint64_t arrival;
    PPort* port;
  };
  struct Known {
    uint64_t arrival;
    std::string id;
  };
  struct Hash {
    using is_transparent = void;
    size_t operator()(std::string_view id) const { return std::hash<std::string_view>{}(id); }
  };

  void enter(uint64_t arrival, PPort& port);
  void leave(const PPort& port, const Known& known);

  /// In order of arrival below each identifier.
  std::unordered_map<std::string, std::vector<Place>, Hash, std::equal_to<>> byID_;
  std::unordered_map<const PPort*, Known> known_;
  uint64_t arrivals_ = 0;
};

} // namespace orbi
