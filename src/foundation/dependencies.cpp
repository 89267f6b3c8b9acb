#include "foundation/dependencies.h"

#include "foundation/class_registry.h"
#include "foundation/plug_dependencies.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace orbi {

CM_REGISTER_ABSTRACT(FDependencies); // one, made by the application

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

void FDependencies::addDependent(CmObject* subject, CmObject* dependent)
{
  if (!subject || !dependent)
    return;
  FGuard guard(lock_);
  table_.add(subject, dependent);
}

void FDependencies::removeDependent(CmObject* subject, CmObject* dependent)
{
  if (!subject && !dependent)
    return;
  FGuard guard(lock_);
  bool anyRemoved = table_.remove(subject, dependent);
  if (!subject)
    return;
  if (!dependent)
    forget(subject);
  else if (anyRemoved && !table_.knows(subject))
    dropDeferred(subject);
}

bool FDependencies::hasDependents(const CmObject* subject)
{
  FGuard guard(lock_);
  return table_.knows(subject);
}

bool FDependencies::changed(CmObject* subject, int32_t code)
{
  bool hasWaited = false; // notices have, for the last fan-out to end
  bool told = table_.tell(lock_, subject, code, [&] {
    hasWaited = !table_.isTelling() && std::exchange(heldBack_, false);
  });
  if (hasWaited)
    wake();
  if (FPlugDependencies* plugs = FPlugDependencies::instance())
    told |= plugs->changed(subject, code);
  return told;
}

bool FDependencies::enqueue(const Notice& notice)
{
  if (!queued_.insert(notice).second)
    return false;
  deferred_.push_back(notice);
  return true;
}

bool FDependencies::deferChanged(CmObject* subject, int32_t code)
{
  if (!subject)
    return false;
  bool queued = false;
  bool isFirst = false;
  {
    FGuard guard(lock_);
    FPlugDependencies* plugs = FPlugDependencies::instance();
    queued = table_.knows(subject) || (plugs && plugs->hasDependents(subject));
    if (queued) {
      isFirst = deferred_.empty();
      enqueue({subject, code});
    }
  }
  if (isFirst)
    wake();
  if (!queued)
    subject->onChanged();
  return queued;
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
  notice.subject->onNoticeTaken();
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
      if (table_.isBeingTold(notice.subject)) {
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
  if (!aside_.empty() && !table_.isTelling())
    wake();
  heldBack_ |= !aside_.empty() && table_.isTelling();
  aside_.clear();
}

} // namespace orbi
