#include "foundation/plug_dependencies.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "foundation/startup_records.h"

#include <algorithm>
#include <functional>

namespace orbi {

CM_REGISTER_ABSTRACT(FPlugDependencies); // one, made by its start-up record

namespace {

FInitializer createPlugDependencies{[] {
                                      new FPlugDependencies;
                                      return true;
                                    },
                                    FPlugDependencies::className};
FTerminator destroyPlugDependencies{[] {
                                      if (FPlugDependencies* table = FPlugDependencies::instance())
                                        table->releaseRef();
                                      return true;
                                    },
                                    FPlugDependencies::className};

struct BySubject {
  template <class Pair>
  bool operator()(const Pair& pair, const FUnknown* subject) const
  {
    return std::less<const FUnknown*>{}(pair.subject, subject);
  }
  template <class Pair>
  bool operator()(const FUnknown* subject, const Pair& pair) const
  {
    return std::less<const FUnknown*>{}(subject, pair.subject);
  }
};

} // namespace

FPlugDependencies::FPlugDependencies()
{
  if (!instance_)
    instance_ = this;
}

FPlugDependencies::~FPlugDependencies()
{
  if (instance_ == this)
    instance_ = nullptr;
  for (const Notice& notice : deferred_)
    notice.subject->release();
}

FPlugDependencies::Table& FPlugDependencies::tableOf(const FUnknown* subject)
{
  return tables_[(reinterpret_cast<uintptr_t>(subject) >> 8) & 15];
}

bool FPlugDependencies::knows(const FUnknown* subject)
{
  Table& table = tableOf(subject);
  return std::binary_search(table.begin(), table.end(), subject, BySubject{});
}

void FPlugDependencies::addDependent(FUnknown* subject, IDependent* dependent)
{
  if (!subject || !dependent)
    return;
  FGuard guard(lock_);
  Table& table = tableOf(subject);
  auto end = std::upper_bound(table.begin(), table.end(), subject, BySubject{});
  table.insert(end, {subject, dependent});
}

void FPlugDependencies::removeDependent(FUnknown* subject, IDependent* dependent)
{
  if (!subject && !dependent)
    return;
  std::vector<FUnknown*> unwanted; // released behind the lock
  {
    FGuard guard(lock_);
    blankFrames(subject, dependent);
    for (Table& table : tables_)
      std::erase_if(table, [=](const Pair& pair) {
        return (!subject || pair.subject == subject) && (!dependent || pair.dependent == dependent);
      });
    if (subject && !knows(subject))
      unwanted = takeDeferred(subject);
  }
  for (FUnknown* interface : unwanted)
    interface->release();
}

void FPlugDependencies::blankFrames(const FUnknown* subject, const IDependent* dependent)
{
  for (Frame* frame = frames_; frame; frame = frame->outer)
    for (size_t i = 0; i < frame->count; ++i)
      if ((!subject || frame->subject == subject) &&
          (!dependent || frame->dependents[i] == dependent))
        std::atomic_ref<IDependent*>(frame->dependents[i])
            .store(nullptr, std::memory_order_relaxed);
}

bool FPlugDependencies::hasDependents(const FUnknown* subject)
{
  FGuard guard(lock_);
  return knows(subject);
}

/// Takes the subject's notices out of the queue, one entry for each reference that they hold.
std::vector<FUnknown*> FPlugDependencies::takeDeferred(const FUnknown* subject)
{
  std::vector<FUnknown*> taken;
  std::erase_if(deferred_, [&](const Notice& notice) {
    bool drop = notice.subject == subject;
    if (drop)
      taken.push_back(notice.subject);
    return drop;
  });
  return taken;
}

bool FPlugDependencies::changed(FUnknown* subject, int32_t code)
{
  IDependent* dependents[maxFanOut];
  Frame frame{subject, dependents, 0, nullptr};
  {
    FGuard guard(lock_);
    Table& table = tableOf(subject);
    auto [first, last] = std::equal_range(table.begin(), table.end(), subject, BySubject{});
    for (auto pair = first; pair != last && frame.count < maxFanOut; ++pair)
      dependents[frame.count++] = pair->dependent;
    if (frame.count == 0)
      return false;
    frame.outer = frames_;
    frames_ = &frame;
  }
  for (size_t i = 0; i < frame.count; ++i)
    if (IDependent* dependent =
            std::atomic_ref<IDependent*>(dependents[i]).load(std::memory_order_relaxed))
      dependent->update(subject, code);
  FGuard guard(lock_);
  Frame** link = &frames_;
  while (*link && *link != &frame)
    link = &(*link)->outer;
  if (*link)
    *link = frame.outer;
  return true;
}

void FPlugDependencies::deferChanged(FUnknown* subject, int32_t code)
{
  FGuard guard(lock_);
  bool queued = std::any_of(deferred_.begin(), deferred_.end(), [=](const Notice& notice) {
    return notice.subject == subject && notice.code == code;
  });
  if (queued || !knows(subject))
    return;
  subject->addRef();
  deferred_.push_back({subject, code});
  FDependencies* flusher = deferred_.size() == 1 ? FDependencies::instance() : nullptr;
  if (flusher)
    flusher->wake();
}

void FPlugDependencies::flush()
{
  for (;;) {
    Notice notice{};
    {
      FGuard guard(lock_);
      if (deferred_.empty())
        return;
      notice = deferred_.front();
      deferred_.pop_front();
    }
    changed(notice.subject, notice.code);
    notice.subject->release();
  }
}

} // namespace orbi
