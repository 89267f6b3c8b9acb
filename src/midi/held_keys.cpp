#include "midi/held_keys.h"

namespace orbi {

namespace {

bool isPress(const PMidiEvent& event)
{
  return event.getStatus() == 0x90 ? event.getData2() > 0 : event.getData2() >= pedalDown;
}

template <class Word>
void setBit(std::atomic<Word>& word, unsigned bit, bool on)
{
  const Word mask = static_cast<Word>(Word{1} << bit);
  if (on)
    word.fetch_or(mask, std::memory_order_release);
  else
    word.fetch_and(static_cast<Word>(~mask), std::memory_order_relaxed);
}

} // namespace

/// Nothing, for an event of neither a key nor a pedal.
void PHeldKeys::Bits::set(const PMidiEvent& event, bool on)
{
  const uint8_t status = event.getStatus();
  const uint8_t channel = event.getChannel();
  const uint8_t number = event.getData1() & 127;
  if (status == noteOn || status == noteOff)
    setBit(keys[channel][number / 64], number % 64, on);
  for (unsigned pedal = 0; status == controller && pedal < pedalControllers.size(); ++pedal)
    if (number == pedalControllers[pedal])
      setBit(pedals[channel], pedal, on);
}

PHeldKeys::State PHeldKeys::Bits::state() const
{
  State state;
  for (size_t channel = 0; channel < 16; ++channel) {
    for (size_t half = 0; half < 2; ++half)
      state.keys[channel][half] = keys[channel][half].load(std::memory_order_relaxed);
    state.pedals[channel] = pedals[channel].load(std::memory_order_relaxed);
  }
  return state;
}

void PHeldKeys::Bits::clear()
{
  for (size_t channel = 0; channel < 16; ++channel) {
    for (std::atomic<uint64_t>& half : keys[channel])
      half.exchange(0, std::memory_order_acquire);
    pedals[channel].exchange(0, std::memory_order_acquire);
  }
}

void PHeldKeys::noteBegin(const PMidiEvent& event)
{
  if (event.getStatus() == noteOff || !isPress(event))
    return;
  held_.set(event, true);
  pressed_.set(event, true); // second: who clears this mark by the next one sees the first
}

void PHeldKeys::noteEnd(const PMidiEvent& event)
{
  if (event.getStatus() == noteOff || !isPress(event))
    held_.set(event, false);
}

void PHeldKeys::clear()
{
  held_.clear();
}

PHeldKeys::State PHeldKeys::state() const
{
  return held_.state();
}

void PHeldKeys::mark()
{
  pressed_.clear();
}

PHeldKeys::State PHeldKeys::heldSinceMark() const
{
  State state = held_.state();
  return state |= pressed_.state();
}

PHeldKeys::State& PHeldKeys::State::operator|=(const State& other)
{
  for (size_t channel = 0; channel < 16; ++channel) {
    for (size_t half = 0; half < 2; ++half)
      keys[channel][half] |= other.keys[channel][half];
    pedals[channel] = static_cast<uint8_t>(pedals[channel] | other.pedals[channel]);
  }
  return *this;
}

PHeldKeys::State& PHeldKeys::State::operator-=(const State& other)
{
  for (size_t channel = 0; channel < 16; ++channel) {
    for (size_t half = 0; half < 2; ++half)
      keys[channel][half] &= ~other.keys[channel][half];
    pedals[channel] = static_cast<uint8_t>(pedals[channel] & ~other.pedals[channel]);
  }
  return *this;
}

} // namespace orbi
