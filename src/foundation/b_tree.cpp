#include "foundation/b_tree.h"

#include "foundation/class_registry.h"

#include <algorithm>
#include <new>
#include <utility>

namespace orbi {

CM_REGISTER(CmBTree);

/// In-order walk with a stack of (node, next key). When the tree has changed since, the way is made
/// anew to the place behind the item just met, or to what stands there instead of it.
class CmBTree::Walker final : public CmIterator {
public:
  explicit Walker(const CmBTree& tree) : tree_(tree), changes_(tree.changes_) { descend(root()); }
  bool atEnd() const override
  {
    const_cast<Walker*>(this)->settle();
    return path_.empty();
  }
  CmObject* next() override
  {
    settle();
    last_ = step();
    return last_;
  }

private:
  struct Step {
    const Node* node;
    size_t index;
  };

  const Node* root() const { return tree_.root_.get(); }
  CmObject* step()
  {
    if (path_.empty())
      return nullptr;
    auto [node, index] = path_.back();
    CmObject* item = node->keys[index];
    ++path_.back().index;
    ++given_;
    if (!node->isLeaf())
      descend(node->children[index + 1].get());
    while (!path_.empty() && path_.back().index >= path_.back().node->keys.size())
      path_.pop_back();
    return item;
  }
  void settle()
  {
    if (changes_ == tree_.changes_)
      return;
    changes_ = tree_.changes_;
    uint32_t place = std::exchange(given_, 0);
    path_.clear();
    descend(root());
    while (given_ + 1 < place && !path_.empty())
      step();
    if (place > 0 && !path_.empty() && path_.back().node->keys[path_.back().index] == last_)
      step();
  }
  void descend(const Node* node)
  {
    for (; node; node = node->isLeaf() ? nullptr : node->children.front().get())
      if (!node->keys.empty() || !node->isLeaf())
        path_.push_back({node, 0});
  }

  const CmBTree& tree_;
  std::vector<Step> path_;
  CmObject* last_ = nullptr;
  uint32_t given_ = 0;
  uint32_t changes_;
};

namespace {

/// Makes room before anything is moved, so that no memory means no change. Grows as push_back does.
template <class Items>
bool hasRoom(Items& items, size_t count)
{
  try {
    if (count > items.capacity())
      items.reserve(std::max(count, 2 * items.capacity()));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

} // namespace

CmBTree::CmBTree(int order, CmOwnership ownership)
    : maxKeys_(static_cast<size_t>(std::max(order, 3)) - 1)
{
  ownership_ = ownership;
}

CmBTree::CmBTree(const CmBTree& other) : CmClass(other), maxKeys_(other.maxKeys_)
{
  if (other.root_)
    copyBelow(*other.root_);
}

void CmBTree::copyBelow(const Node& node)
{
  for (size_t i = 0; i <= node.keys.size(); ++i) {
    if (!node.isLeaf())
      copyBelow(*node.children[i]);
    if (i < node.keys.size()) {
      bool added = add(node.keys[i]);
      if (added && ownership_ == CmOwnership::adopts)
        node.keys[i]->retain();
    }
  }
}

bool CmBTree::add(CmObject* item)
{
  if (!item)
    return false;
  if (!root_)
    root_.reset(new (std::nothrow) Node);
  if (!root_ || !insertBelow(*root_, item))
    return false;
  if (root_->keys.size() > maxKeys_)
    splitRoot();
  taken(item);
  ++count_;
  ++changes_;
  return true;
}

void CmBTree::splitRoot()
{
  auto grown = std::unique_ptr<Node>(new (std::nothrow) Node);
  if (!grown || !hasRoom(grown->children, 2))
    return;
  grown->children.push_back(std::move(root_));
  if (splitChild(*grown, 0))
    root_ = std::move(grown);
  else
    root_ = std::move(grown->children.front());
}

/// False without memory, with nothing changed.
bool CmBTree::insertBelow(Node& node, CmObject* item)
{
  auto place =
      std::upper_bound(node.keys.begin(), node.keys.end(), item,
                       [](const CmObject* a, const CmObject* b) { return a->compare(b) < 0; });
  size_t index = static_cast<size_t>(place - node.keys.begin());
  if (node.isLeaf()) {
    if (!hasRoom(node.keys, node.keys.size() + 1))
      return false;
    node.keys.insert(node.keys.begin() + static_cast<std::ptrdiff_t>(index), item);
    return true;
  }
  if (!insertBelow(*node.children[index], item))
    return false;
  if (node.children[index]->keys.size() > maxKeys_)
    splitChild(node, index); // without memory it stays too full, which costs nothing but time
  return true;
}

/// False without memory, with nothing changed.
bool CmBTree::splitChild(Node& parent, size_t index)
{
  Node& left = *parent.children[index];
  auto right = std::unique_ptr<Node>(new (std::nothrow) Node);
  size_t middle = left.keys.size() / 2;
  if (!right || !hasRoom(parent.keys, parent.keys.size() + 1) ||
      !hasRoom(parent.children, parent.children.size() + 1) ||
      !hasRoom(right->keys, left.keys.size() - middle) ||
      !hasRoom(right->children, left.children.size() - std::min(middle, left.children.size())))
    return false;
  auto offset = static_cast<std::ptrdiff_t>(middle);
  parent.keys.insert(parent.keys.begin() + static_cast<std::ptrdiff_t>(index), left.keys[middle]);
  right->keys.assign(left.keys.begin() + offset + 1, left.keys.end());
  left.keys.resize(middle);
  if (!left.isLeaf()) {
    std::move(left.children.begin() + offset + 1, left.children.end(),
              std::back_inserter(right->children));
    left.children.resize(middle + 1);
  }
  parent.children.insert(parent.children.begin() + static_cast<std::ptrdiff_t>(index) + 1,
                         std::move(right));
  return true;
}

CmObject* CmBTree::find(const CmObject* key) const
{
  const Node* node = key ? root_.get() : nullptr;
  while (node) {
    auto place =
        std::lower_bound(node->keys.begin(), node->keys.end(), key,
                         [](const CmObject* a, const CmObject* b) { return a->compare(b) < 0; });
    if (place != node->keys.end() && (*place)->compare(key) == 0)
      return *place;
    node = node->isLeaf() ? nullptr : node->children[size_t(place - node->keys.begin())].get();
  }
  return nullptr;
}

bool CmBTree::remove(CmObject* item)
{
  if (!item || !root_ || !removeBelow(*root_, item))
    return false;
  if (root_->keys.empty())
    root_ = root_->isLeaf() ? nullptr : std::move(root_->children.front());
  --count_;
  ++changes_;
  dropped(item);
  return true;
}

bool CmBTree::removeAt(int32_t index)
{
  CmObject* item = at(index);
  return item && remove(item);
}

// Equal items may stand in several branches, so every one that can hold the object is tried.
bool CmBTree::removeBelow(Node& node, const CmObject* item)
{
  for (size_t i = 0; i <= node.keys.size(); ++i) {
    if (i < node.keys.size() && node.keys[i]->compare(item) < 0)
      continue;
    if (!node.isLeaf() && removeBelow(*node.children[i], item)) {
      refill(node, i);
      return true;
    }
    if (i == node.keys.size() || node.keys[i]->compare(item) > 0)
      return false;
    if (node.keys[i] == item) {
      if (node.isLeaf()) {
        node.keys.erase(node.keys.begin() + static_cast<std::ptrdiff_t>(i));
      } else {
        node.keys[i] = takeLast(*node.children[i]);
        refill(node, i);
      }
      return true;
    }
  }
  return false;
}

CmObject* CmBTree::takeLast(Node& node)
{
  if (node.isLeaf()) {
    CmObject* item = node.keys.back();
    node.keys.pop_back();
    return item;
  }
  size_t lastChild = node.children.size() - 1;
  CmObject* item = takeLast(*node.children[lastChild]);
  refill(node, lastChild);
  return item;
}

void CmBTree::refill(Node& parent, size_t index)
{
  size_t minKeys = maxKeys_ / 2;
  if (parent.children[index]->keys.size() >= minKeys)
    return;
  if (index > 0 && parent.children[index - 1]->keys.size() > minKeys)
    borrowFromLeft(parent, index);
  else if (index < parent.keys.size() && parent.children[index + 1]->keys.size() > minKeys)
    borrowFromRight(parent, index);
  else
    mergeChildren(parent, index > 0 ? index - 1 : 0);
}

void CmBTree::borrowFromLeft(Node& parent, size_t index)
{
  Node& child = *parent.children[index];
  Node& left = *parent.children[index - 1];
  child.keys.insert(child.keys.begin(), parent.keys[index - 1]);
  parent.keys[index - 1] = left.keys.back();
  left.keys.pop_back();
  if (!left.isLeaf()) {
    child.children.insert(child.children.begin(), std::move(left.children.back()));
    left.children.pop_back();
  }
}

void CmBTree::borrowFromRight(Node& parent, size_t index)
{
  Node& child = *parent.children[index];
  Node& right = *parent.children[index + 1];
  child.keys.push_back(parent.keys[index]);
  parent.keys[index] = right.keys.front();
  right.keys.erase(right.keys.begin());
  if (!right.isLeaf()) {
    child.children.push_back(std::move(right.children.front()));
    right.children.erase(right.children.begin());
  }
}

void CmBTree::mergeChildren(Node& parent, size_t index)
{
  if (index + 1 >= parent.children.size())
    return;
  Node& left = *parent.children[index];
  Node& right = *parent.children[index + 1];
  left.keys.push_back(parent.keys[index]);
  left.keys.insert(left.keys.end(), right.keys.begin(), right.keys.end());
  std::move(right.children.begin(), right.children.end(), std::back_inserter(left.children));
  parent.keys.erase(parent.keys.begin() + static_cast<std::ptrdiff_t>(index));
  parent.children.erase(parent.children.begin() + static_cast<std::ptrdiff_t>(index) + 1);
}

void CmBTree::removeAll()
{
  std::unique_ptr<Node> root = std::move(root_);
  count_ = 0;
  ++changes_;
  if (root)
    dropBelow(*root);
}

void CmBTree::dropBelow(Node& node)
{
  for (CmObject* item : node.keys)
    dropped(item);
  for (auto& child : node.children)
    dropBelow(*child);
}

CmObject* CmBTree::at(int32_t index) const
{
  if (index < 0 || static_cast<uint32_t>(index) >= count_)
    return nullptr;
  Walker walker(*this);
  for (; index > 0; --index)
    walker.next();
  return walker.next();
}

CmIterator* CmBTree::newIterator() const
{
  return new Walker(*this);
}

} // namespace orbi
