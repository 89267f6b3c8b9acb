#pragma once

#include "foundation/container.h"

namespace orbi {

/// Item of a singly linked list without nodes; stands in one list at a time.
class CmILink : public CmClass<CmILink, CmObject> {
public:
  static constexpr const char* className = "CmILink";

  CmILink() = default;
  CmILink(const CmILink& other) : CmClass(other) {}    ///< a copy stands in no list
  CmILink& operator=(const CmILink&) { return *this; } ///< stays where it stands
  CmILink* next() const { return next_; }

private:
  friend class CmILinkedList;
  CmILink* next_ = nullptr;
};

/// Item of a doubly linked list without nodes; stands in one list at a time.
class CmIDLink : public CmClass<CmIDLink, CmObject> {
public:
  static constexpr const char* className = "CmIDLink";

  CmIDLink() = default;
  CmIDLink(const CmIDLink& other) : CmClass(other) {}    ///< a copy stands in no list
  CmIDLink& operator=(const CmIDLink&) { return *this; } ///< stays where it stands
  CmIDLink* next() const { return next_; }
  CmIDLink* previous() const { return previous_; }

private:
  friend class CmIDLinkedList;
  CmIDLink* next_ = nullptr;
  CmIDLink* previous_ = nullptr;
};

/// What the lists without nodes have in common. Other objects than links are refused, and those
/// known to stand in a list.
template <class Link>
class CmIntrusiveList : public CmContainer {
public:
  bool add(CmObject* item) override { return insertAt(static_cast<int32_t>(count_), item); }
  CmObject* at(int32_t index) const override { return linkAt(index); }
  CmObject* last() const override { return tail_; }
  CmObject* find(const CmObject* key) const override;
  CmIterator* newIterator() const override;

  Link* head() const { return head_; }

protected:
  explicit CmIntrusiveList(CmOwnership ownership) { ownership_ = ownership; }
  CmIntrusiveList(const CmIntrusiveList&) = delete;

  Link* linkAt(int32_t index) const;
  Link* linkBefore(int32_t index) const; ///< index is at most count; null for the head's place

  Link* head_ = nullptr;
  Link* tail_ = nullptr;
};

extern template class CmIntrusiveList<CmILink>;
extern template class CmIntrusiveList<CmIDLink>;

/// Singly linked list of CmILinks.
class CmILinkedList : public CmClass<CmILinkedList, CmIntrusiveList<CmILink>> {
public:
  static constexpr const char* className = "CmILinkedList";

  explicit CmILinkedList(CmOwnership ownership = CmOwnership::none) : CmClass(ownership) {}
  ~CmILinkedList() override { CmILinkedList::removeAll(); }

  bool insertAt(int32_t index, CmObject* item) override;
  bool remove(CmObject* item) override;
  bool removeAt(int32_t index) override;
  void removeAll() override;

  CmILink* takeHead(); ///< out of the list with the list's reference; null when empty
  /// Moves all items of the other list behind this one's. Both have the same ownership.
  void takeAll(CmILinkedList& other);
  /// Moves the items for which the test holds behind those of the other list, of the same
  /// ownership.
  template <class Test>
  void takeIf(Test test, CmILinkedList& other)
  {
    for (CmILink *before = nullptr, *item = head_; item;) {
      CmILink* following = item->next_;
      if (test(item)) {
        unlink(before, item);
        other.link(other.tail_, item);
      } else {
        before = item;
      }
      item = following;
    }
  }

private:
  void link(CmILink* before, CmILink* item); ///< null: at the head
  void unlink(CmILink* before, CmILink* item);
};

/// Doubly linked list of CmIDLinks.
class CmIDLinkedList : public CmClass<CmIDLinkedList, CmIntrusiveList<CmIDLink>> {
public:
  static constexpr const char* className = "CmIDLinkedList";

  explicit CmIDLinkedList(CmOwnership ownership = CmOwnership::none) : CmClass(ownership) {}
  ~CmIDLinkedList() override { CmIDLinkedList::removeAll(); }

  bool insertAt(int32_t index, CmObject* item) override;
  bool remove(CmObject* item) override;
  bool removeAt(int32_t index) override;
  void removeAll() override;

  CmIDLink* tail() const { return tail_; }
  /// Moves all items of the other list behind this one's. Both have the same ownership.
  void takeAll(CmIDLinkedList& other);

protected:
  void linkBehind(CmIDLink* before,
                  CmIDLink* item); ///< null: at the head; counts, applies ownership

private:
  void unlink(CmIDLink* item);
  bool holds(const CmObject* item) const;
};

} // namespace orbi
