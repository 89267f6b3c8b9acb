#include "midi/midi_socket.h"

#include "foundation/class_registry.h"
#include "midi/open_notes.h"

namespace orbi {

CM_REGISTER_ABSTRACT(PMidiOutSocket);

namespace {

constexpr uint8_t noteOffStatus = 0x80;
constexpr uint8_t noteOnStatus = 0x90;
constexpr uint8_t controllerStatus = 0xB0;
constexpr uint8_t inertStatus = 0xFE; ///< active sensing, which changes nothing
constexpr uint8_t allNotesOff = 123;

PMidiEvent* firstOf(const PEventQueue& queue)
{
  return static_cast<PMidiEvent*>(queue.firstEvent());
}

Ref<PMidiEvent> takeFirst(PEventQueue& queue)
{
  auto event = Ref<PMidiEvent>::share(firstOf(queue));
  queue.removeAt(0);
  return event;
}

Ref<PMidiEvent> copyOf(const PMidiEvent& event)
{
  return Ref<PMidiEvent>::adopt(static_cast<PMidiEvent*>(event.clone()));
}

} // namespace

void PMidiOutSocket::activates()
{
  FGuard guard(queueLock_);
  lastTime_ = 0.0;
  queue_.removeAll();
  countQueued();
}

bool PMidiOutSocket::receive(PEvent& received)
{
  if (!received.isMidi())
    return false;
  auto& event = static_cast<PMidiEvent&>(received);
  event.clearTransientFlag();
  const double time = event.getTime();
  if (time < 0.0 && event.getStatus() == controllerStatus && event.getData1() == allNotesOff)
    allNotesOffNow();
  Ref<PMidiEvent> kept = Ref<PMidiEvent>::share(&event);
  FGuard guard(queueLock_);
  const bool hasRoom = queue_.count() < mostQueued;
  enqueue(event);
  if (hasRoom && event.getStatus() == noteOnStatus && time > 0.0 &&
      !(event.flags & eventNoAutoNoteOff))
    queueNoteOff(event);
  countQueued();
  return true;
}

void PMidiOutSocket::enqueue(PMidiEvent& event)
{
  if (event.getTime() < 0.0) {
    sendNow(event);
    endBlock();
  } else {
    insertCopy(event);
  }
}

void PMidiOutSocket::insertCopy(PMidiEvent& event)
{
  if (queue_.count() >= (endsNote(event) ? 2 * mostQueued : mostQueued))
    return;                      // whoever fills it so far ahead of time will not miss it
  if (auto copy = copyOf(event)) // without memory it is lost
    queue_.insertEvent(copy.get());
}

/// The release velocity is the note's third byte; its own velocity doesn't carry over.
void PMidiOutSocket::queueNoteOff(const PMidiEvent& noteOn)
{
  auto noteOff = copyOf(noteOn);
  if (!noteOff)
    return;
  noteOff->setStatus(noteOffStatus);
  noteOff->setData2(noteOff->getData3());
  noteOff->setTime(noteOff->getTime() >= 0.0 ? noteOff->getEnd() : noteOff->getLength());
  queue_.insertEvent(noteOff.get());
}

double PMidiOutSocket::pump(double now)
{
  // Without the lock: what this test misses goes with the next pass.
  if (queued_.load(std::memory_order_relaxed) == 0)
    return nothingDue;
  FGuard guard(queueLock_);
  while (PMidiEvent* next = firstOf(queue_)) {
    if (now <= next->getTime()) {
      endBlock();
      countQueued();
      return lastTime_;
    }
    lastTime_ = next->getTime();
    sendNow(*takeFirst(queue_));
  }
  endBlock();
  countQueued();
  return nothingDue;
}

void PMidiOutSocket::sendCancelling(PMidiEvent& noteOff)
{
  noteOff.setTime(lastTime_ + cancelDelay);
  sendNow(noteOff);
}

/// A note off whose note on waits, too, has nothing to end.
void PMidiOutSocket::allNotesOffNow()
{
  FGuard guard(queueLock_);
  OpenNotes open;
  for (PEvent* next = queue_.firstEvent(); next; next = PEventQueue::nextEvent(next)) {
    auto& event = static_cast<PMidiEvent&>(*next);
    if (beginsNote(event))
      open.begin(event);
    else if (endsNote(event) && open.end(event))
      event.setStatus(inertStatus);
  }
  while (firstOf(queue_)) {
    Ref<PMidiEvent> event = takeFirst(queue_);
    if (endsNote(*event))
      sendCancelling(*event);
  }
  endBlock();
  countQueued();
}

void PMidiOutSocket::cancelQueued(const CmObject* source)
{
  FGuard guard(queueLock_);
  PEventQueue all;
  all.takeAll(queue_);
  while (firstOf(all)) {
    Ref<PMidiEvent> event = takeFirst(all);
    if (source && event->ownerRef != source)
      queue_.insertEvent(event.get());
    else if (endsNote(*event))
      sendCancelling(*event);
  }
  endBlock();
  countQueued();
}

} // namespace orbi
