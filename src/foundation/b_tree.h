#pragma once

#include "foundation/container.h"

#include <vector>

namespace orbi {

/// Multiway balanced search tree in the order of compare. A node of order n takes at most n - 1
/// keys before it is split at its middle key, and keeps more while there is no memory for that.
/// Equal items are kept side by side.
class CmBTree : public CmClass<CmBTree, CmContainer> {
public:
  static constexpr const char* className = "CmBTree";

  explicit CmBTree(int order = 3, CmOwnership ownership = CmOwnership::none);
  CmBTree(const CmBTree& other);
  ~CmBTree() override { removeAll(); }

  int order() const { return static_cast<int>(maxKeys_) + 1; }

  bool add(CmObject* item) override;
  bool insertAt(int32_t, CmObject* item) override { return add(item); }
  bool remove(CmObject* item) override;
  bool removeAt(int32_t index) override; ///< index in order
  void removeAll() override;
  CmObject* at(int32_t index) const override;
  CmObject* find(const CmObject* key) const override; ///< one that compares as 0
  CmIterator* newIterator() const override;

  /// The item for which `order(item)` is 0; order tells how an item stands to what is sought, as
  /// compare would. For look-ups without a key object.
  template <class Order>
  CmObject* findBy(Order order) const
  {
    const Node* node = root_.get();
    while (node) {
      size_t i = 0;
      for (; i < node->keys.size(); ++i) {
        int place = order(node->keys[i]);
        if (place == 0)
          return node->keys[i];
        if (place > 0)
          break;
      }
      node = node->isLeaf() ? nullptr : node->children[i].get();
    }
    return nullptr;
  }

protected:
  struct Node {
    std::vector<CmObject*> keys;
    std::vector<std::unique_ptr<Node>> children; ///< empty in a leaf, else keys + 1
    bool isLeaf() const { return children.empty(); }
  };

private:
  class Walker;

  bool insertBelow(Node& node, CmObject* item);
  bool splitChild(Node& parent, size_t index);
  void splitRoot();
  bool removeBelow(Node& node, const CmObject* item);
  CmObject* takeLast(Node& node);
  void refill(Node& parent, size_t index);
  void borrowFromLeft(Node& parent, size_t index);
  void borrowFromRight(Node& parent, size_t index);
  void mergeChildren(Node& parent, size_t index);
  void copyBelow(const Node& node);
  void dropBelow(Node& node);

  size_t maxKeys_;
  std::unique_ptr<Node> root_;
  uint32_t changes_ = 0; ///< for iterators: keys came or went
};

} // namespace orbi
