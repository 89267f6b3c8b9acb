#pragma once

#include "foundation/dependency_table.h"
#include "foundation/lock.h"
#include "foundation/object.h"

#include <atomic>
#include <cstddef>
#include <deque>
#include <unordered_set>
#include <vector>

namespace orbi {

class FPlugDependencies;

/// Who depends on whom, and the change notices between them. `changed` tells the dependents at once
/// on the caller's thread; `deferChanged` queues the notice, from any thread, and `flush` tells
/// them on the main thread. Never calls out while its lock is held. Classes that take part call
/// removeDependent in their destructors; those that queue notices also removeFromDeferred, and may
/// then go even while they are told of.
class FDependencies final : public CmClass<FDependencies, CmObject> {
public:
  static constexpr const char* className = "FDependencies";

  FDependencies();
  ~FDependencies() override;
  FDependencies(const FDependencies&) = delete;

  static FDependencies* instance() { return instance_; } ///< null at the very start and end

  // The table
  using CmObject::addDependent;
  using CmObject::removeDependent;
  void addDependent(CmObject* subject, CmObject* dependent); ///< duplicates are kept
  /// Either may be null, which means all of them. Who is removed is not called any more, not even
  /// by a fan-out that is under way.
  void removeDependent(CmObject* subject, CmObject* dependent);
  bool hasDependents(const CmObject* subject);

  // Notices
  using CmObject::changed;
  using CmObject::deferChanged;
  bool changed(CmObject* subject, int32_t code);      ///< whether anybody was told
  bool deferChanged(CmObject* subject, int32_t code); ///< whether it waits now
  void removeFromDeferred(const CmObject* subject);
  void flush(CmObject* subject = nullptr); ///< main thread; null: all that is queued

  /// Called on any thread when something begins to wait for the next flush, to wake the main
  /// thread. Must not block.
  void setWakeUp(void (*wakeUp)()) { wakeUp_.store(wakeUp, std::memory_order_release); }
  void wake();

private:
  struct Notice {
    CmObject* subject;
    int32_t code;
    bool operator==(const Notice&) const = default;
  };
  struct NoticeHash {
    size_t operator()(const Notice& notice) const;
  };
  /// A deferred notice that flush is delivering; the subject is null once it is gone.
  struct Delivery {
    const CmObject* subject;
    Delivery* outer;
  };
  void dropDeferred(const CmObject* subject);
  void deliver(const Notice& notice);
  void forget(const CmObject* subject);
  bool takeNotice(const CmObject* subject, Notice& notice);
  bool enqueue(const Notice& notice);
  void queueAside();

  static inline FDependencies* instance_ = nullptr;

  FLock lock_{"FDependencies"};
  FDependencyTable<CmObject, CmObject, 256, 12> table_;
  std::deque<Notice> deferred_;
  std::unordered_set<Notice, NoticeHash> queued_; ///< what deferred_ holds, to find equal notices
  std::vector<Notice> aside_; ///< met by a flush under way while their subject was being told
  bool heldBack_ = false;     ///< some were set aside and wait for the fan-outs to end
  std::atomic<void (*)()> wakeUp_{nullptr};
  Delivery* deliveries_ = nullptr;
};

} // namespace orbi
