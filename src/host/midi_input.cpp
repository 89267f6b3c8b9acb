#include "host/midi_input.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "midi/midi_socket.h"
#include "midi/open_notes.h"

#include <algorithm>
#include <array>

namespace orbi {

CM_REGISTER(OrbiPlayerMidiInput);

namespace {

constexpr uint8_t noteOff = 0x80;
constexpr uint8_t noteOn = 0x90;
constexpr uint8_t allNotesOff = 123;

} // namespace

/// Writes records into a list up to its maximum.
class OrbiPlayerMidiInput::Writer {
public:
  Writer(OrbEventList& list, int32_t maximum) : list_(list), maximum_(maximum) {}
  bool isFull() const { return count_ >= maximum_; }
  int32_t count() const { return count_; }
  void write(int32_t status, uint8_t data1, uint8_t data2)
  {
    OrbMidiEventRecord& record = *list_.events[count_++];
    record.status = static_cast<uint8_t>(status);
    record.data1 = data1;
    record.data2 = data2;
  }

private:
  OrbEventList& list_;
  int32_t maximum_;
  int32_t count_ = 0;
};

/// What leaves it takes its keys along: whoever goes can't end them any more.
class OrbiPlayerMidiInput::Port final : public CmClass<Port, PMidiInput> {
public:
  static constexpr const char* className = "OrbiPlayerMidiPort";

  explicit Port(OrbiPlayerMidiInput& input) : CmClass(&input, portName, "extern"), input_(&input)
  {
    setListener(&input);
  }
  void forgetInput()
  {
    disconnectAll();
    setListener(nullptr);
    ownerGoes();
    input_ = nullptr;
  }
  bool removeConnection(PPort* other) override
  {
    const bool removed = CmClass::removeConnection(other);
    // A socket ends by itself what was held through it.
    if (removed && input_ && !castTo<PMidiInSocket>(other))
      input_->releaseKeys(heldByConnections());
    return removed;
  }

private:
  OrbiPlayerMidiInput* input_;
};

OrbiPlayerMidiInput::OrbiPlayerMidiInput() : port_(make<Port>(*this))
{
  instance_ = this;
}

OrbiPlayerMidiInput::~OrbiPlayerMidiInput()
{
  static_cast<Port*>(port_.get())->forgetInput();
  instance_ = nullptr;
}

void OrbiPlayerMidiInput::midiReceived(int32_t, PEvent& event, PMidiInput&)
{
  if (event.isMidi())
    receive(static_cast<PMidiEvent&>(event));
}

void OrbiPlayerMidiInput::receive(PMidiEvent& event)
{
  auto copy = Ref<PMidiEvent>::adopt(static_cast<PMidiEvent*>(event.clone()));
  if (!copy)
    return;          // no memory: this one is lost
  PEventQueue spent; // goes when the lock is left
  FGuard guard(lock_);
  spent.takeAll(spent_);
  insert(*copy);
}

bool OrbiPlayerMidiInput::Ends::take(const PMidiEvent& event)
{
  static_assert(perChannel == 128 + pedalControllers.size() + 1); // the last: all notes off
  if (!letsGo(event))
    return false;
  const uint8_t number = event.getData1() & 127;
  const auto pedal = std::ranges::find(pedalControllers, number);
  const size_t place = endsNote(event) ? number : 128 + size_t(pedal - pedalControllers.begin());
  auto bit = has_[event.getChannel() * perChannel + place];
  const bool isNew = !bit;
  bit = true;
  return isNew;
}

void OrbiPlayerMidiInput::insert(PMidiEvent& event)
{
  held_.note(event);
  if (events_.count() < mostWaiting)
    endsBehind_.clear();
  else if (!endsBehind_.take(event))
    return; // no block has run for long, and the next one begins anew
  events_.insertEvent(&event);
  waiting_.store(events_.count(), std::memory_order_relaxed);
}

void OrbiPlayerMidiInput::releaseKeys(const PHeldKeys::State& heldByOthers)
{
  FGuard guard(lock_);
  PEvent* last = events_.lastEvent();
  const double time = last ? last->getTime() : -1.0; // behind what waits
  PHeldKeys::State held = held_.state();
  held -= heldByOthers;
  held.release(time, [this](PMidiEvent& end) {
    if (auto copy = Ref<PMidiEvent>::adopt(static_cast<PMidiEvent*>(end.clone())))
      insert(*copy);
  });
}

int32_t OrbiPlayerMidiInput::fillEventList(OrbEventList& list, int32_t maximum)
{
  if (!hasEvents()) {
    list.count = 0;
    return 0;
  }
  FGuard guard(lock_);
  Writer writer(list, maximum);
  for (PEvent* waiting = events_.firstEvent(); waiting && !writer.isFull();
       waiting = PEventQueue::nextEvent(waiting)) {
    auto* event = static_cast<PMidiEvent*>(waiting);
    uint8_t status = event->getStatus();
    uint8_t channel = event->getChannel();
    uint8_t key = event->getData1();
    uint8_t velocity = event->getData2();
    std::atomic<int32_t>& heldNote = notesOn_->of[channel][key & 127];
    int32_t held = heldNote.load(std::memory_order_relaxed);
    if (status == noteOff || (status == noteOn && held > 0 && velocity == 0)) {
      heldNote.store(0, std::memory_order_relaxed);
    } else if (status == noteOn && held <= 0) {
      heldNote.store(held + 1, std::memory_order_relaxed);
    } else if (status == noteOn) {
      // Struck twice: the plug-in hears the end of the first one before the second.
      writer.write(channel | noteOff, key, 0);
      if (writer.isFull())
        break;
    }
    writer.write(status | channel, key, velocity);
  }
  spent_.takeAll(events_);
  waiting_.store(0, std::memory_order_relaxed);
  list.count = writer.count();
  return writer.count();
}

/// No begin of a note; then one end of each is enough. Without room nothing else that doesn't let
/// go of something.
bool OrbiPlayerMidiInput::outlastsRestart(const PMidiEvent& event, bool hasRoom, Ends& ends)
{
  if (beginsNote(event))
    return false;
  return (hasRoom && !endsNote(event)) || ends.take(event);
}

void OrbiPlayerMidiInput::clearNotes()
{
  {
    FGuard guard(lock_);
    PEventQueue all;
    all.takeAll(events_);
    Ends ends;
    for (PEvent* next = all.firstEvent(); next; next = all.firstEvent()) {
      auto event = Ref<PMidiEvent>::share(static_cast<PMidiEvent*>(next));
      all.removeAt(0);
      // The first block takes no more than its list holds: of the others the oldest go.
      const bool hasRoom = all.count() + events_.count() < orbMaxEvents;
      if (!outlastsRestart(*event, hasRoom, ends))
        continue;
      if (endsNote(*event))
        event->setStatus(noteOff); // a note on without velocity would be taken for a begin
      events_.insertEvent(event.get());
    }
    waiting_.store(events_.count(), std::memory_order_relaxed);
  }
  for (auto& channel : notesOn_->of)
    for (std::atomic<int32_t>& held : channel)
      held.store(0, std::memory_order_relaxed);
}

void OrbiPlayerMidiInput::resetMidi()
{
  FMessage message("Reset MIDI");
  port_->handleMessage(message);
}

} // namespace orbi
