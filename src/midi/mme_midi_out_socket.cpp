#include "midi/mme_midi_sockets.h"

#include "foundation/class_registry.h"
#include "midi/mme_midi_device.h"
#include "midi/open_notes.h"

#include <algorithm>
#include <cstring>

namespace orbi {

CM_REGISTER_ABSTRACT(PMmeMidiOutSocket); // its device makes it

namespace {

constexpr uint8_t sysexStatus = 0xF0;
constexpr uint8_t firstRealtime = 0xF8;
constexpr uint32_t mostPending = 65536; ///< events behind a long message that doesn't get on
constexpr int mostFailures = 50;        ///< of what lets go at a port without room, one a pass

uint32_t packed(const PMidiEvent& event)
{
  const uint32_t status =
      event.getStatus() < sysexStatus ? event.getStatus() | event.getChannel() : event.getStatus();
  return status | uint32_t{event.getData1()} << 8 | uint32_t{event.getData2()} << 16;
}

} // namespace

PMmeMidiOutSocket::PMmeMidiOutSocket(PMmeMidiDevice& device, PMmePort port, const char* kind,
                                     FUID uid)
    : CmClass(&device, CmString(port.info.name), kind), device_(device), port_(std::move(port)),
      portUID_(uid)
{
}

PMmeMidiOutSocket::~PMmeMidiOutSocket()
{
  if (isOpened())
    close();
}

// Opening. Senders are shut out meanwhile.

bool PMmeMidiOutSocket::open()
{
  auto handle = device_.system().openOutput(port_.index, *this);
  auto headers = std::make_unique<std::array<Header, headerCount>>();
  if (!handle)
    return false;
  for (Header& header : *headers) {
    header.buffer.data = header.bytes;
    header.buffer.capacity = headerBytes;
    header.buffer.user = &header.isFree;
  }
  FGuard queue(queueLock());
  FGuard pending(pendingLock_);
  handle_ = std::move(handle);
  headers_ = std::move(headers);
  nextHeader_ = 0;
  failures_ = 0;
  setOpened(true);
  return true;
}

void PMmeMidiOutSocket::close()
{
  std::unique_ptr<platform::MidiOutputPort> handle;
  std::unique_ptr<std::array<Header, headerCount>> headers; // goes when the port has no part of it
  {
    FGuard queue(queueLock());
    FGuard pending(pendingLock_);
    setOpened(false);
    pendingQueue_.removeAll();
    finishSysex();
    headers = std::move(headers_);
    handle = std::move(handle_);
  }
  handle.reset();
}

void PMmeMidiOutSocket::done(platform::MidiBuffer& buffer)
{
  static_cast<platform::Event*>(buffer.user)->set();
}

// Sending

bool PMmeMidiOutSocket::receive(PEvent& event)
{
  const double time = event.getTime();
  const bool taken = CmClass::receive(event);
  if (hasWaiting())
    device_.wakeScheduler(time);
  return taken;
}

bool PMmeMidiOutSocket::hasWaiting() const
{
  return hasQueued() || pending_.load(std::memory_order_seq_cst);
}

bool PMmeMidiOutSocket::sendShort(const PMidiEvent& event)
{
  const bool isTaken = handle_->shortMessage(packed(event));
  if (isTaken)
    failures_ = 0;
  return isTaken;
}

/// What the port doesn't take is lost, but a note must not sound for ever because what ends it met
/// a port without room. One that has gone for good isn't waited for long.
bool PMmeMidiOutSocket::mayTryAgain(const PMidiEvent& event)
{
  return letsGo(event) && failures_ < mostFailures && ++failures_ > 0;
}

/// With the queue's lock held. Who sends an event keeps it, so it is copied where it has to wait.
void PMmeMidiOutSocket::sendNow(PMidiEvent& event)
{
  if (!isOpened() || !handle_)
    return;
  // Only under the queue's lock does anything begin to wait, and while nothing does, the scheduler
  // leaves the port alone.
  const bool isSysex = event.getStatus() == sysexStatus;
  if (!isSysex && !pending_.load(std::memory_order_acquire) && sendShort(event))
    return;
  FGuard guard(pendingLock_);
  const bool mustWait = !pendingQueue_.isEmpty() || currentSysex_;
  auto* sysex = isSysex ? castTo<PSysexEvent>(&event) : nullptr;
  if (event.getStatus() >= firstRealtime) {
    sendShort(event); // overtakes
  } else if (isSysex && (!sysex || sysex->getSize() == 0)) {
    return; // nothing to send
  } else if (mustWait) {
    queuePending(event);
  } else if (sysex) {
    currentSysex_ = Ref<PSysexEvent>::adopt(static_cast<PSysexEvent*>(sysex->clone()));
    sendChunk();
  } else if (!sendShort(event) && mayTryAgain(event)) {
    queuePending(event);
  }
  pending_.store(!pendingQueue_.isEmpty() || currentSysex_, std::memory_order_seq_cst);
}

void PMmeMidiOutSocket::queuePending(const PMidiEvent& event)
{
  if (pendingQueue_.count() >= (letsGo(event) ? 2 * mostPending : mostPending))
    return;
  auto copy = Ref<PMidiEvent>::adopt(static_cast<PMidiEvent*>(event.clone()));
  if (!copy)
    return;
  copy->setTime(-1.0); // all of one time: they stay in the order of their arrival
  pendingQueue_.insertEvent(copy.get());
}

/// Sends the next piece of the long message, if a header is free; else a later pass does.
void PMmeMidiOutSocket::sendChunk()
{
  if (!currentSysex_)
    return;
  Header& header = (*headers_)[nextHeader_];
  if (!header.isFree.wait(0))
    return;
  header.isFree.reset();
  const uint32_t before = sysexOffset_;
  fill(header.buffer);
  if (!handle_->longMessage(header.buffer)) {
    header.isFree.set();
    sysexOffset_ = before; // nothing is lost by a port without room
    return;
  }
  nextHeader_ = (nextHeader_ + 1) % headerCount;
  if (sysexOffset_ >= currentSysex_->getSize())
    finishSysex();
}

void PMmeMidiOutSocket::fill(platform::MidiBuffer& buffer)
{
  const uint8_t* data = currentSysex_->getData();
  const uint32_t length = std::min(headerBytes, currentSysex_->getSize() - sysexOffset_);
  const bool lacksBegin = sysexOffset_ == 0 && (length == 0 || data[0] != sysexStatus);
  uint32_t count = length;
  uint8_t* to = buffer.data;
  if (lacksBegin) {
    *to++ = sysexStatus;
    count = std::min(count, headerBytes - 1);
  }
  std::memcpy(to, data + sysexOffset_, count);
  sysexOffset_ += count;
  buffer.offset = 0;
  buffer.recorded = count + (lacksBegin ? 1 : 0);
}

void PMmeMidiOutSocket::finishSysex()
{
  currentSysex_ = {};
  sysexOffset_ = 0;
  pending_.store(!pendingQueue_.isEmpty(), std::memory_order_seq_cst);
}

// Pumping

double PMmeMidiOutSocket::pump(double now)
{
  if (pending_.load(std::memory_order_relaxed))
    sendPending();
  return CmClass::pump(now);
}

/// One piece, or one event that waited.
void PMmeMidiOutSocket::sendPending()
{
  FGuard guard(pendingLock_);
  if (!isOpened() || !handle_)
    return;
  if (!currentSysex_ && !pendingQueue_.isEmpty()) {
    auto event = Ref<PMidiEvent>::share(static_cast<PMidiEvent*>(pendingQueue_.firstEvent()));
    auto* sysex = castTo<PSysexEvent>(event.get());
    if (sysex)
      currentSysex_ = Ref<PSysexEvent>::share(sysex);
    if (sysex || sendShort(*event) || !mayTryAgain(*event))
      pendingQueue_.removeAt(0);
  }
  sendChunk();
  pending_.store(!pendingQueue_.isEmpty() || currentSysex_, std::memory_order_seq_cst);
}

void PMmeMidiOutSocket::allNotesOffNow()
{
  FGuard guard(queueLock());
  sendPendingEnds(LongMessages::keep);
  CmClass::allNotesOffNow();
}

/// The end of a long message isn't waited for: whatever is sent next breaks it off.
void PMmeMidiOutSocket::closes()
{
  FGuard guard(queueLock());
  {
    FGuard guardPending(pendingLock_);
    finishSysex();
  }
  sendPendingEnds(LongMessages::drop);
  CmClass::allNotesOffNow();
}

/// Notes that didn't begin yet don't begin; all else goes on in its order.
void PMmeMidiOutSocket::sendPendingEnds(LongMessages waiting)
{
  PEventQueue pending;
  {
    FGuard guard(pendingLock_);
    pending.takeAll(pendingQueue_);
  }
  OpenNotes dropped;
  while (auto* event = static_cast<PMidiEvent*>(pending.firstEvent())) {
    auto kept = Ref<PMidiEvent>::share(event);
    pending.removeAt(0);
    if (waiting == LongMessages::drop && castTo<PSysexEvent>(event))
      continue;
    if (beginsNote(*event))
      dropped.begin(*event);
    else if (!endsNote(*event) || !dropped.end(*event))
      sendNow(*event);
  }
}

} // namespace orbi
