#include "foundation/linked_list.h"

#include "foundation/class_registry.h"

#include <new>

namespace orbi {

CM_REGISTER(CmLinkedList);
CM_REGISTER(CmQueue);
CM_REGISTER(CmStack);
CM_REGISTER(CmDLinkedList);

/// Remembers the node to come. When the list has changed since, the node is looked for before it
/// is touched; one that is gone is replaced by whatever stands at its place.
template <class Self, class Node>
class CmNodeList<Self, Node>::Walker final : public CmIterator {
public:
  explicit Walker(const CmNodeList& list) : list_(list), node_(list.head_), changes_(list.changes_)
  {
  }
  bool atEnd() const override
  {
    settle();
    return !node_;
  }
  CmObject* next() override
  {
    settle();
    if (!node_)
      return nullptr;
    CmObject* item = node_->item;
    node_ = node_->next;
    ++place_;
    return item;
  }

private:
  void settle() const
  {
    if (changes_ == list_.changes_)
      return;
    changes_ = list_.changes_;
    int32_t place = 0;
    for (Node* node = list_.head_; node; node = node->next, ++place)
      if (node == node_) {
        place_ = place;
        return;
      }
    node_ = list_.nodeAt(place_);
  }

  const CmNodeList& list_;
  mutable const Node* node_; // null behind the last one, where added items are met, too
  mutable int32_t place_ = 0;
  mutable uint32_t changes_;
};

template <class Self, class Node>
CmNodeList<Self, Node>::CmNodeList(const CmNodeList& other) : CmClass<Self, CmContainer>(other)
{
  for (Node* node = other.head_; node; node = node->next)
    if (insertBehind(tail_, node->item) && this->ownership_ == CmOwnership::adopts)
      this->copied(node->item);
}

template <class Self, class Node>
bool CmNodeList<Self, Node>::insertBehind(Node* before, CmObject* item)
{
  Node* node = new (std::nothrow) Node{item};
  if (!node)
    return false;
  Node*& place = before ? before->next : head_;
  node->next = place;
  place = node;
  if (tail_ == before)
    tail_ = node;
  if constexpr (requires { node->previous; }) {
    node->previous = before;
    if (node->next)
      node->next->previous = node;
  }
  ++this->count_;
  ++changes_;
  this->taken(item);
  return true;
}

template <class Self, class Node>
CmObject* CmNodeList<Self, Node>::unlink(Node* before, Node* node)
{
  (before ? before->next : head_) = node->next;
  if (tail_ == node)
    tail_ = before;
  if constexpr (requires { node->previous; })
    if (node->next)
      node->next->previous = before;
  --this->count_;
  ++changes_;
  CmObject* item = node->item;
  delete node;
  return item;
}

template <class Self, class Node>
Node* CmNodeList<Self, Node>::nodeAt(int32_t index) const
{
  if (index < 0 || static_cast<uint32_t>(index) >= this->count_)
    return nullptr;
  auto fromEnd = static_cast<int32_t>(this->count_) - 1 - index;
  if constexpr (requires(Node * node) { node->previous; }) {
    if (fromEnd < index) {
      Node* node = tail_;
      for (; fromEnd > 0; --fromEnd)
        node = node->previous;
      return node;
    }
  }
  if (fromEnd == 0)
    return tail_;
  Node* node = head_;
  for (; index > 0; --index)
    node = node->next;
  return node;
}

template <class Self, class Node>
bool CmNodeList<Self, Node>::add(CmObject* item)
{
  return insertBehind(tail_, item);
}

template <class Self, class Node>
bool CmNodeList<Self, Node>::insertAt(int32_t index, CmObject* item)
{
  if (index < 0 || static_cast<uint32_t>(index) > this->count_)
    return false;
  return insertBehind(nodeAt(index - 1), item);
}

template <class Self, class Node>
bool CmNodeList<Self, Node>::remove(CmObject* item)
{
  for (Node *before = nullptr, *node = head_; node; before = node, node = node->next)
    if (node->item == item) {
      this->dropped(unlink(before, node));
      return true;
    }
  return false;
}

template <class Self, class Node>
bool CmNodeList<Self, Node>::removeAt(int32_t index)
{
  if (index < 0 || static_cast<uint32_t>(index) >= this->count_)
    return false;
  Node* before = nodeAt(index - 1);
  this->dropped(unlink(before, before ? before->next : head_));
  return true;
}

template <class Self, class Node>
void CmNodeList<Self, Node>::removeAll()
{
  while (head_)
    this->dropped(unlink(nullptr, head_));
}

template <class Self, class Node>
CmObject* CmNodeList<Self, Node>::takeFirst()
{
  return head_ ? unlink(nullptr, head_) : nullptr;
}

template <class Self, class Node>
CmObject* CmNodeList<Self, Node>::at(int32_t index) const
{
  Node* node = nodeAt(index);
  return node ? node->item : nullptr;
}

template <class Self, class Node>
CmObject* CmNodeList<Self, Node>::find(const CmObject* key) const
{
  for (Node* node = head_; node; node = node->next)
    if (node->item && node->item->isEqual(key))
      return node->item;
  return nullptr;
}

template <class Self, class Node>
CmIterator* CmNodeList<Self, Node>::newIterator() const
{
  return new Walker(*this);
}

template class CmNodeList<CmLinkedList, CmLinkNode>;
template class CmNodeList<CmDLinkedList, CmDLinkNode>;

CmObject* CmDLinkedList::takeLast()
{
  return tail_ ? unlink(tail_->previous, tail_) : nullptr;
}

} // namespace orbi
