#pragma once

#include "foundation/container.h"

namespace orbi {

struct CmLinkNode {
  CmObject* item;
  CmLinkNode* next = nullptr;
};

struct CmDLinkNode {
  CmObject* item;
  CmDLinkNode* next = nullptr;
  CmDLinkNode* previous = nullptr;
};

/// What the lists with nodes have in common. Items may be null and may occur more than once. An
/// iterator stays sound while the list changes: items taken out aren't met any more, nor is
/// anything skipped when the item just met is taken out.
template <class Self, class Node>
class CmNodeList : public CmClass<Self, CmContainer> {
public:
  bool add(CmObject* item) override;
  bool insertAt(int32_t index, CmObject* item) override;
  bool remove(CmObject* item) override;
  bool removeAt(int32_t index) override;
  void removeAll() override;
  CmObject* at(int32_t index) const override;
  CmObject* first() const override { return head_ ? head_->item : nullptr; }
  CmObject* last() const override { return tail_ ? tail_->item : nullptr; }
  CmObject* find(const CmObject* key) const override;
  CmIterator* newIterator() const override;

  CmObject* takeFirst(); ///< out of the list with the list's reference; null when empty

protected:
  explicit CmNodeList(CmOwnership ownership) { this->ownership_ = ownership; }
  CmNodeList(const CmNodeList& other);
  ~CmNodeList() override { CmNodeList::removeAll(); }

  bool insertBehind(Node* before, CmObject* item); ///< null: at the head
  CmObject* unlink(Node* before, Node* node);      ///< frees the node, keeps the reference
  Node* nodeAt(int32_t index) const;

  Node* head_ = nullptr;
  Node* tail_ = nullptr;

private:
  class Walker;

  uint32_t changes_ = 0; ///< for iterators: nodes came or went
};

/// Singly linked list.
class CmLinkedList : public CmNodeList<CmLinkedList, CmLinkNode> {
public:
  static constexpr const char* className = "CmLinkedList";
  explicit CmLinkedList(CmOwnership ownership = CmOwnership::none) : CmNodeList(ownership) {}
};

/// First in, first out.
class CmQueue final : public CmClass<CmQueue, CmLinkedList> {
public:
  static constexpr const char* className = "CmQueue";
  explicit CmQueue(CmOwnership ownership = CmOwnership::none) : CmClass(ownership) {}

  CmObject* peek() const { return first(); }
  CmObject* take() { return takeFirst(); } ///< with the queue's reference
};

/// Last in, first out: add puts on top, index 0 is the top.
class CmStack final : public CmClass<CmStack, CmLinkedList> {
public:
  static constexpr const char* className = "CmStack";
  explicit CmStack(CmOwnership ownership = CmOwnership::none) : CmClass(ownership) {}

  bool add(CmObject* item) override { return insertBehind(nullptr, item); }
  CmObject* top() const { return first(); }
  CmObject* pop() { return takeFirst(); } ///< with the stack's reference
};

/// Doubly linked list: both ends are near.
class CmDLinkedList : public CmNodeList<CmDLinkedList, CmDLinkNode> {
public:
  static constexpr const char* className = "CmDLinkedList";
  explicit CmDLinkedList(CmOwnership ownership = CmOwnership::none) : CmNodeList(ownership) {}

  CmObject* takeLast(); ///< out of the list with the list's reference; null when empty
};

extern template class CmNodeList<CmLinkedList, CmLinkNode>;
extern template class CmNodeList<CmDLinkedList, CmDLinkNode>;

} // namespace orbi
