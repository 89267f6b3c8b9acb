#pragma once

#include "foundation/attributes.h"

#include <ostream>
#include <unordered_set>
#include <vector>

namespace orbi {

/// Prints trees of values as indented lines, each object once. Depth is limited by memory only.
class TreeView {
public:
  explicit TreeView(std::ostream& out) : out_(out) {}

  void print(FAttributes& tree, int64_t depth);
  void printObject(std::string_view head, CmObject* object, int64_t depth); ///< and what it holds

private:
  /// A container that is being printed.
  struct Frame {
    Ref<CmObject> container;
    uint32_t next;
    int64_t depth; ///< of its content
  };

  void open(Ref<CmObject> container, int64_t depth) { frames_.push_back({container, 0, depth}); }
  void run();
  bool step(Frame& frame);
  bool stepItem(FAttrList& list, uint32_t index, int64_t depth);
  void printValue(const FStringIDAttribute& value, int64_t depth);
  void openObject(std::string_view head, CmObject* object, int64_t depth);
  void openList(std::string_view head, FAttrList& list, const char* sort, int64_t depth);
  void openInstance(std::string_view head, CmObject& object, int64_t id, int64_t depth);
  void printBinary(std::string_view head, CmObject* object, int64_t depth);

  std::ostream& out_;
  std::vector<Frame> frames_;
  std::unordered_set<const CmObject*> printed_;
};

} // namespace orbi
