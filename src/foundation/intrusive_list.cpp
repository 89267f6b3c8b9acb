#include "foundation/intrusive_list.h"

#include "foundation/class_registry.h"

#include <utility>

namespace orbi {

CM_REGISTER(CmILink);
CM_REGISTER(CmIDLink);
CM_REGISTER(CmILinkedList);
CM_REGISTER(CmIDLinkedList);

namespace {

template <class Link>
class LinkIterator final : public CmIterator {
public:
  explicit LinkIterator(Link* head) : link_(head) {}
  bool atEnd() const override { return !link_; }
  CmObject* next() override
  {
    Link* item = link_;
    if (link_)
      link_ = link_->next(); // before the user may take the item out
    return item;
  }

private:
  Link* link_;
};

} // namespace

template <class Link>
Link* CmIntrusiveList<Link>::linkAt(int32_t index) const
{
  if (index < 0 || static_cast<uint32_t>(index) >= count_)
    return nullptr;
  Link* link = head_;
  while (index-- > 0)
    link = link->next();
  return link;
}

template <class Link>
Link* CmIntrusiveList<Link>::linkBefore(int32_t index) const
{
  return static_cast<uint32_t>(index) == count_ ? tail_ : linkAt(index - 1);
}

template <class Link>
CmObject* CmIntrusiveList<Link>::find(const CmObject* key) const
{
  for (Link* link = head_; link; link = link->next())
    if (link->isEqual(key))
      return link;
  return nullptr;
}

template <class Link>
CmIterator* CmIntrusiveList<Link>::newIterator() const
{
  return new LinkIterator<Link>(head_);
}

template class CmIntrusiveList<CmILink>;
template class CmIntrusiveList<CmIDLink>;

bool CmILinkedList::insertAt(int32_t index, CmObject* item)
{
  auto* link = castTo<CmILink>(item);
  if (!link || link->next_ || link == tail_ || index < 0 || static_cast<uint32_t>(index) > count_)
    return false;
  this->link(linkBefore(index), link);
  taken(item);
  return true;
}

void CmILinkedList::link(CmILink* before, CmILink* item)
{
  CmILink*& place = before ? before->next_ : head_;
  item->next_ = place;
  place = item;
  if (tail_ == before)
    tail_ = item;
  ++count_;
}

void CmILinkedList::unlink(CmILink* before, CmILink* item)
{
  (before ? before->next_ : head_) = item->next_;
  if (tail_ == item)
    tail_ = before;
  item->next_ = nullptr;
  --count_;
}

bool CmILinkedList::remove(CmObject* item)
{
  for (CmILink *before = nullptr, *link = head_; link; before = link, link = link->next_)
    if (link == item) {
      unlink(before, link);
      dropped(link);
      return true;
    }
  return false;
}

bool CmILinkedList::removeAt(int32_t index)
{
  CmObject* item = at(index);
  return item && remove(item);
}

void CmILinkedList::removeAll()
{
  while (CmILink* item = takeHead())
    dropped(item);
}

CmILink* CmILinkedList::takeHead()
{
  CmILink* item = head_;
  if (!item)
    return nullptr;
  head_ = item->next_;
  if (!head_)
    tail_ = nullptr;
  item->next_ = nullptr;
  --count_;
  return item;
}

void CmILinkedList::takeAll(CmILinkedList& other)
{
  if (!other.head_ || &other == this)
    return;
  (tail_ ? tail_->next_ : head_) = other.head_;
  tail_ = other.tail_;
  count_ += std::exchange(other.count_, 0);
  other.head_ = other.tail_ = nullptr;
}

bool CmIDLinkedList::insertAt(int32_t index, CmObject* item)
{
  auto* link = castTo<CmIDLink>(item);
  if (!link || link->next_ || link->previous_ || link == head_ || index < 0 ||
      static_cast<uint32_t>(index) > count_)
    return false;
  linkBehind(linkBefore(index), link);
  return true;
}

void CmIDLinkedList::linkBehind(CmIDLink* before, CmIDLink* item)
{
  item->previous_ = before;
  item->next_ = before ? before->next_ : head_;
  (before ? before->next_ : head_) = item;
  (item->next_ ? item->next_->previous_ : tail_) = item;
  ++count_;
  taken(item);
}

void CmIDLinkedList::unlink(CmIDLink* item)
{
  (item->previous_ ? item->previous_->next_ : head_) = item->next_;
  (item->next_ ? item->next_->previous_ : tail_) = item->previous_;
  item->next_ = item->previous_ = nullptr;
  --count_;
  dropped(item);
}

// An item at an end is found at once; only one that stands alone elsewhere makes a walk.
bool CmIDLinkedList::holds(const CmObject* item) const
{
  if (item == head_ || item == tail_)
    return item != nullptr;
  const CmIDLink* link = head_;
  while (link && link != item)
    link = link->next_;
  return link != nullptr;
}

void CmIDLinkedList::takeAll(CmIDLinkedList& other)
{
  if (!other.head_ || &other == this)
    return;
  (tail_ ? tail_->next_ : head_) = other.head_;
  other.head_->previous_ = tail_;
  tail_ = other.tail_;
  count_ += std::exchange(other.count_, 0);
  other.head_ = other.tail_ = nullptr;
}

bool CmIDLinkedList::remove(CmObject* item)
{
  if (!holds(item))
    return false;
  unlink(static_cast<CmIDLink*>(item));
  return true;
}

bool CmIDLinkedList::removeAt(int32_t index)
{
  CmIDLink* link = linkAt(index);
  if (link)
    unlink(link);
  return link != nullptr;
}

void CmIDLinkedList::removeAll()
{
  while (head_)
    unlink(head_);
}

} // namespace orbi
