#pragma once

#include "studio/event.h"

#include <atomic>

namespace orbi {

/// List of events in the order of their times; those of equal time in order of arrival. Shares the
/// events: the caller keeps and releases its own reference. No lock of its own, its owner guards
/// it.
class PEventQueue : public CmClass<PEventQueue, CmIDLinkedList> {
public:
  static constexpr const char* className = "PEventQueue";

  PEventQueue() : CmClass(CmOwnership::shares) {}

  // The ways of a list lead to insertEvent, too; anything but an event is refused
  bool add(CmObject* item) override { return insertEvent(castTo<PEvent>(item)); }
  bool insertAt(int32_t, CmObject* item) override { return add(item); }

  /// Walks from the tail, since events usually come in order. False only for null.
  bool insertEvent(PEvent* event);
  bool addEvent(PEvent* event) { return insertEvent(event); }

  PEvent* firstEvent() const { return static_cast<PEvent*>(head()); }
  PEvent* lastEvent() const { return static_cast<PEvent*>(tail()); }
  static PEvent* nextEvent(const PEvent* event) { return static_cast<PEvent*>(event->next()); }
};

/// A queue with a clear that never waits: one that comes while another is busy is put off. All
/// other operations are unguarded.
class PEventQueueLocked final : public CmClass<PEventQueueLocked, PEventQueue> {
public:
  static constexpr const char* className = "PEventQueueLocked";

  PEventQueueLocked() = default;
  /// Takes over the marks; the events stay where they are, one stands in one list at a time.
  PEventQueueLocked(const PEventQueueLocked& other);

  void removeAll() override;

  bool clearDeferred() const { return clearDeferred_; }
  bool spareFlag = false;
  std::atomic<int32_t> busy{0}; ///< counts who is at work on the queue

private:
  bool clearDeferred_ = false;
};

} // namespace orbi
