#include "foundation/dependencies.h"

#include "foundation/class_registry.h"
#include "foundation/plug_dependencies.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace orbi {

CM_REGISTER_ABSTRACT(FDependencies); // one, made by the application

namespace {

/// Orders pairs by their subject's address.
struct BySubject {
  template <class Pair>
  bool operator()(const Pair& pair, const CmObject* subject) const
  {
    return std::less<const CmObject*>{}(pair.subject, subject);
  }
  template <class Pair>
  bool operator()(const CmObject* subject, const Pair& pair) const
  {
    return std::less<const CmObject*>{}(subject, pair.subject);
  }
};

size_t tableIndex(const CmObject* subject)
{
  return (reinterpret_cast<uintptr_t>(subject) >> 12) & 255;
}

// Another thread may take a dependent out of a fan-out while it is called.
CmObject* entryOf(CmObject*& slot)
{
  return std::atomic_ref<CmObject*>(slot).load(std::memory_order_relaxed);
}

} // namespace

size_t FDependencies::NoticeHash::operator()(const Notice& notice) const
{
  return std::hash<const void*>{}(notice.subject) * 31 + std::hash<int32_t>{}(notice.code);
}

FDependencies::FDependencies()
{
  if (!instance_)
    instance_ = this;
}

FDependencies::~FDependencies()
{
  if (instance_ == this)
    instance_ = nullptr;
}

FDependencies::Table& FDependencies::tableOf(const CmObject* subject)
{
  return tables_[tableIndex(subject)];
}

const FDependencies::Table& FDependencies::tableOf(const CmObject* subject) const
{
  return tables_[tableIndex(subject)];
}

bool FDependencies::knows(const CmObject* subject) const
{
  const Table& table = tableOf(subject);
  return std::binary_search(table.begin(), table.end(), subject, BySubject{});
}

void FDependencies::addDependent(CmObject* subject, CmObject* dependent)
{
  if (!subject || !dependent)
    return;
  FGuard guard(lock_);
  Table& table = tableOf(subject);
  auto end = std::upper_bound(table.begin(), table.end(), subject, BySubject{});
  table.insert(end, {subject, dependent});
}

void FDependencies::removeDependent(CmObject* subject, CmObject* dependent)
{
  if (!subject && !dependent)
    return;
  FGuard guard(lock_);
  blankFrames(subject, dependent);
  if (!subject) {
    for (Table& table : tables_)
      std::erase_if(table, [=](const Pair& pair) { return pair.dependent == dependent; });
    return;
  }
  Table& table = tableOf(subject);
  auto [first, last] = std::equal_range(table.begin(), table.end(), subject, BySubject{});
  auto rest = std::remove_if(
      first, last, [=](const Pair& pair) { return !dependent || pair.dependent == dependent; });
  bool anyRemoved = rest != last;
  bool anyLeft = rest != first;
  table.erase(rest, last);
  if (!dependent)
    forget(subject);
  else if (anyRemoved && !anyLeft)
    dropDeferred(subject);
}

bool FDependencies::hasDependents(const CmObject* subject)
{
  FGuard guard(lock_);
  return knows(subject);
}

void FDependencies::blankFrames(const CmObject* subject, const CmObject* dependent)
{
  for (Frame* frame = frames_; frame; frame = frame->outer) {
    if (subject && frame->subject != subject)
      continue;
    for (size_t i = 0; i < frame->count; ++i)
      if (!dependent || frame->dependents[i] == dependent)
        std::atomic_ref<CmObject*>(frame->dependents[i]).store(nullptr, std::memory_order_relaxed);
  }
}

size_t FDependencies::gather(CmObject* subject, CmObject** dependents)
{
  Table& table = tableOf(subject);
  auto [first, last] = std::equal_range(table.begin(), table.end(), subject, BySubject{});
  size_t count = std::min(static_cast<size_t>(last - first), maxFanOut);
  for (size_t i = 0; i < count; ++i)
    dependents[i] = first[static_cast<std::ptrdiff_t>(i)].dependent;
  return count;
}

bool FDependencies::changed(CmObject* subject, int32_t code)
{
  CmObject* dependents[maxFanOut];
  Frame frame{subject, dependents, 0, nullptr};
  {
    FGuard guard(lock_);
    frame.count = gather(subject, dependents);
    if (frame.count > 0) {
      frame.outer = frames_;
      frames_ = &frame;
    }
  }
  if (frame.count > 0) {
    for (size_t i = 0; i < frame.count; ++i)
      if (CmObject* dependent = entryOf(dependents[i]))
        dependent->update(subject, code);
    if (endFanOut(frame))
      wake();
  }
  bool told = frame.count > 0;
  if (FPlugDependencies* plugs = FPlugDependencies::instance())
    told |= plugs->changed(subject, code);
  return told;
}

/// Fan-outs of several threads end in any order. True when notices have waited for it.
bool FDependencies::endFanOut(Frame& frame)
{
  FGuard guard(lock_);
  Frame** link = &frames_;
  while (*link && *link != &frame)
    link = &(*link)->outer;
  if (*link)
    *link = frame.outer;
  return !frames_ && std::exchange(heldBack_, false);
}

bool FDependencies::isBeingTold(const CmObject* subject)
{
  for (const Frame* frame = frames_; frame; frame = frame->outer)
    if (frame->subject == subject)
      return true;
  return false;
}

bool FDependencies::enqueue(const Notice& notice)
{
  if (!queued_.insert(notice).second)
    return false;
  deferred_.push_back(notice);
  return true;
}

void FDependencies::deferChanged(CmObject* subject, int32_t code)
{
  if (!subject)
    return;
  bool queued = false;
  bool isFirst = false;
  {
    FGuard guard(lock_);
    FPlugDependencies* plugs = FPlugDependencies::instance();
    queued = knows(subject) || (plugs && plugs->hasDependents(subject));
    if (queued) {
      isFirst = deferred_.empty();
      enqueue({subject, code});
    }
  }
  if (isFirst)
    wake();
  if (!queued)
    subject->onChanged();
}

void FDependencies::wake()
{
  if (auto* wakeUp = wakeUp_.load(std::memory_order_acquire))
    wakeUp();
}

void FDependencies::removeFromDeferred(const CmObject* subject)
{
  FGuard guard(lock_);
  forget(subject);
}

void FDependencies::forget(const CmObject* subject)
{
  dropDeferred(subject);
  for (Delivery* delivery = deliveries_; delivery; delivery = delivery->outer)
    if (delivery->subject == subject)
      delivery->subject = nullptr;
}

void FDependencies::dropDeferred(const CmObject* subject)
{
  std::erase_if(aside_, [=](const Notice& notice) { return notice.subject == subject; });
  std::erase_if(deferred_, [this, subject](const Notice& notice) {
    bool drop = notice.subject == subject;
    if (drop)
      queued_.erase(notice);
    return drop;
  });
}

/// Takes the first queued notice, of the subject when one is given.
bool FDependencies::takeNotice(const CmObject* subject, Notice& notice)
{
  auto place = subject ? std::find_if(deferred_.begin(), deferred_.end(),
                                      [subject](const Notice& n) { return n.subject == subject; })
                       : deferred_.begin();
  if (place == deferred_.end())
    return false;
  notice = *place;
  queued_.erase(notice);
  deferred_.erase(place);
  return true;
}

void FDependencies::deliver(const Notice& notice)
{
  Delivery delivery{notice.subject, nullptr};
  {
    FGuard guard(lock_);
    delivery.outer = deliveries_;
    deliveries_ = &delivery;
  }
  bool told = changed(notice.subject, notice.code);
  bool isThere = false;
  {
    FGuard guard(lock_);
    isThere = delivery.subject != nullptr;
    deliveries_ = delivery.outer; // on one thread, so the last that came goes first
  }
  if (told && isThere)
    notice.subject->onChanged();
}

void FDependencies::flush(CmObject* subject)
{
  for (;;) {
    Notice notice{};
    {
      FGuard guard(lock_);
      if (!takeNotice(subject, notice))
        break;
      if (isBeingTold(notice.subject)) {
        aside_.push_back(notice);
        continue;
      }
    }
    deliver(notice);
  }
  if (FPlugDependencies* plugs = subject ? nullptr : FPlugDependencies::instance())
    plugs->flush();
  queueAside();
}

/// What was set aside waits for the fan-outs to end; a wake-up before that would bring nothing.
void FDependencies::queueAside()
{
  FGuard guard(lock_);
  for (const Notice& notice : aside_)
    enqueue(notice);
  if (!aside_.empty() && !frames_)
    wake();
  heldBack_ |= !aside_.empty() && frames_;
  aside_.clear();
}

} // namespace orbi
