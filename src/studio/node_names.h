#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace orbi {

class FNode;

/// The names of one node's children without their case, so that finding one among thousands takes
/// no longer than among ten. Only the empty name may occur twice.
class FNodeNames {
public:
  void add(std::string_view name, FNode* child);
  void remove(std::string_view name, FNode* child);
  /// Another child than that one; of several without a name any.
  FNode* find(std::string_view name, const FNode* besides = nullptr) const;

  /// All the numbers from 2 up to the one before this are in use behind the name.
  int32_t firstFree(std::string_view name) const;
  void setFirstFree(std::string_view name, int32_t number);

private:
  struct Hash {
    using is_transparent = void;
    size_t operator()(std::string_view name) const;
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const;
  };
  template <class Value>
  using ByName = std::unordered_map<std::string, Value, Hash, Equal>;

  ByName<FNode*> children_;
  std::unordered_set<FNode*> nameless_;
  ByName<int32_t> firstFree_;
};

/// A name that ends in a number behind a blank, in the way in which names are numbered.
struct NumberedName {
  std::string_view base;
  int32_t number = 0; ///< 0: it isn't one; else from 2 up to lastNumber
  static constexpr int32_t lastNumber = 99999999;

  explicit NumberedName(std::string_view name);
};

} // namespace orbi
