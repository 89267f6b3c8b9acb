#include "studio/event_queue.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(PEventQueue);
CM_REGISTER(PEventQueueLocked);

bool PEventQueue::insertEvent(PEvent* event)
{
  if (!event)
    return false;
  double time = event->getTime();
  CmIDLink* before = tail();
  while (before && time < static_cast<PEvent*>(before)->getTime())
    before = before->previous();
  linkBehind(before, event);
  return true;
}

PEventQueueLocked::PEventQueueLocked(const PEventQueueLocked& other)
    : CmClass(), spareFlag(other.spareFlag), busy(other.busy.load()),
      clearDeferred_(other.clearDeferred_)
{
}

void PEventQueueLocked::removeAll()
{
  if (busy.fetch_add(1) == 0) {
    PEventQueue::removeAll();
    clearDeferred_ = false;
  } else {
    clearDeferred_ = true;
  }
  busy.fetch_sub(1);
}

} // namespace orbi
