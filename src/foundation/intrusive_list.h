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

/// Singly linked list of CmILinks; other objects are refused, and those known to stand in a list.
class CmILinkedList : public CmClass<CmILinkedList, CmContainer> {
public:
  static constexpr const char* className = "CmILinkedList";

  explicit CmILinkedList(CmOwnership ownership = CmOwnership::none) { ownership_ = ownership; }
  CmILinkedList(const CmILinkedList&) = delete;
  ~CmILinkedList() override { CmILinkedList::removeAll(); }

  bool add(CmObject* item) override;
  bool insertAt(int32_t index, CmObject* item) override;
  bool remove(CmObject* item) override;
  bool removeAt(int32_t index) override;
  void removeAll() override;
  CmObject* at(int32_t index) const override;
  CmObject* last() const override { return tail_; }
  CmObject* find(const CmObject* key) const override;
  CmIterator* newIterator() const override;

  CmILink* head() const { return head_; }
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

  CmILink* head_ = nullptr;
  CmILink* tail_ = nullptr;
};

/// Doubly linked list of CmIDLinks; other objects are refused, and those known to stand in a list.
class CmIDLinkedList : public CmClass<CmIDLinkedList, CmContainer> {
public:
  static constexpr const char* className = "CmIDLinkedList";

  explicit CmIDLinkedList(CmOwnership ownership = CmOwnership::none) { ownership_ = ownership; }
  CmIDLinkedList(const CmIDLinkedList&) = delete;
  ~CmIDLinkedList() override { CmIDLinkedList::removeAll(); }

  bool add(CmObject* item) override;
  bool insertAt(int32_t index, CmObject* item) override;
  bool remove(CmObject* item) override;
  bool removeAt(int32_t index) override;
  void removeAll() override;
  CmObject* at(int32_t index) const override;
  CmObject* last() const override { return tail_; }
  CmObject* find(const CmObject* key) const override;
  CmIterator* newIterator() const override;

  CmIDLink* head() const { return head_; }
  CmIDLink* tail() const { return tail_; }
  /// Moves all items of the other list behind this one's. Both have the same ownership.
  void takeAll(CmIDLinkedList& other);

protected:
  void linkBehind(CmIDLink* before,
                  CmIDLink* item); ///< null: at the head; counts, applies ownership

private:
  CmIDLink* linkAt(int32_t index) const;
  void unlink(CmIDLink* item);
  bool holds(const CmObject* item) const;

  CmIDLink* head_ = nullptr;
  CmIDLink* tail_ = nullptr;
};

} // namespace orbi
