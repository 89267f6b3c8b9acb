#include "foundation/plug_dependencies.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "foundation/startup_records.h"

#include <algorithm>

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

void FPlugDependencies::addDependent(FUnknown* subject, IDependent* dependent)
{
  if (!subject || !dependent)
    return;
  FGuard guard(lock_);
  table_.add(subject, dependent);
}

void FPlugDependencies::removeDependent(FUnknown* subject, IDependent* dependent)
{
  if (!subject && !dependent)
    return;
  std::vector<FUnknown*> unwanted; // released behind the lock
  {
    FGuard guard(lock_);
    table_.remove(subject, dependent);
    if (subject && !table_.knows(subject))
      unwanted = takeDeferred(subject);
  }
  for (FUnknown* interface : unwanted)
    interface->release();
}

bool FPlugDependencies::hasDependents(const FUnknown* subject)
{
  FGuard guard(lock_);
  return table_.knows(subject);
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
  return table_.tell(lock_, subject, code, [] {});
}

void FPlugDependencies::deferChanged(FUnknown* subject, int32_t code)
{
  FGuard guard(lock_);
  bool queued = std::any_of(deferred_.begin(), deferred_.end(), [=](const Notice& notice) {
    return notice.subject == subject && notice.code == code;
  });
  if (queued || !table_.knows(subject))
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
