#include "midi/midi_port.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"

namespace orbi {

CM_REGISTER_ABSTRACT(PMidiOutput); // ports belong to an owner, who makes them
CM_REGISTER_ABSTRACT(PMidiInput);

namespace {

constexpr int64_t channelCount = 16;
constexpr uint8_t resetControllers = 121;
constexpr uint8_t allNotesOff = 123;

struct ResetRow {
  uint8_t status;
  uint8_t data1;
  uint8_t data2;
};

constexpr ResetRow resetRows[] = {
    {0xB0, 1, 0},                // modulation
    {0xB0, 2, 0},                // breath
    {0xB0, 64, 0},               // sustain, before the notes that it holds
    {0xB0, resetControllers, 0}, //
    {0xB0, allNotesOff, 0},      //
    {0xD0, 0, 127},              // channel pressure: 0; the third byte isn't sent
    {0xE0, 0, 64}                // pitch bend in the middle
};

bool isReducedRow(const ResetRow& row)
{
  return row.data1 == allNotesOff || row.data1 == resetControllers;
}

} // namespace

void PMidiInput::setListener(IMidiListener* listener, int32_t tag)
{
  listener_ = listener;
  listenerTag_ = tag;
}

PHeldKeys::State PMidiInput::heldByConnections(const PPort* except) const
{
  PHeldKeys::State held;
  for (int32_t i = 0; i < countConnections(); ++i)
    if (const auto* output = castTo<PMidiOutput>(connectionAt(i)); output && output != except)
      held |= output->heldKeys();
  return held;
}

bool PMidiInput::receive(PEvent& event)
{
  if (listener_)
    listener_->midiReceived(listenerTag_, event, *this);
  return true;
}

int32_t PMidiInput::handleMessage(FMessage& message)
{
  if (!message.isMessage("Reset MIDI"))
    return CmClass::handleMessage(message);
  resetMidi(message.getInt("Channel"),
            message.getInt("Reduced") != 0 ? Reset::reduced : Reset::full);
  return 1;
}

void PMidiInput::resetMidi(int64_t channel, Reset reset)
{
  for (int64_t number = 1; number <= channelCount; ++number) {
    if (channel != 0 && channel != number)
      continue;
    for (const ResetRow& row : resetRows) {
      if (reset == Reset::reduced && !isReducedRow(row))
        continue;
      auto event = make<PMidiEvent>();
      if (!event)
        return;
      event->setTime(-1.0);
      event->flags |= eventFromReset;
      event->setStatus(row.status);
      event->setChannel(static_cast<int32_t>(number - 1));
      event->setData1(row.data1);
      event->setData2(row.data2);
      event->flags |= eventResetFilled;
      receive(*event);
    }
  }
}

} // namespace orbi
