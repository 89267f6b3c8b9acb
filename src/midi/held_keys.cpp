#include "midi/held_keys.h"

namespace orbi {

namespace {

constexpr uint8_t pedalDown = 64; ///< the least value that holds

template <class Word>
void setBit(std::atomic<Word>& word, unsigned bit, bool on)
{
  const Word mask = static_cast<Word>(Word{1} << bit);
  const Word before = word.load(std::memory_order_relaxed);
  word.store(static_cast<Word>(on ? before | mask : before & ~mask), std::memory_order_relaxed);
}

} // namespace

void PHeldKeys::note(const PMidiEvent& event)
{
  const uint8_t status = event.getStatus();
  const uint8_t channel = event.getChannel();
  const uint8_t number = event.getData1() & 127;
  if (status == noteOn || status == noteOff)
    setBit(keys_[channel][number / 64], number % 64, status == noteOn && event.getData2() > 0);
  for (unsigned pedal = 0; status == controller && pedal < pedalControllers.size(); ++pedal)
    if (number == pedalControllers[pedal])
      setBit(pedals_[channel], pedal, event.getData2() >= pedalDown);
}

PHeldKeys::State PHeldKeys::state() const
{
  State state;
  for (size_t channel = 0; channel < 16; ++channel) {
    for (size_t half = 0; half < 2; ++half)
      state.keys[channel][half] = keys_[channel][half].load(std::memory_order_relaxed);
    state.pedals[channel] = pedals_[channel].load(std::memory_order_relaxed);
  }
  return state;
}

void PHeldKeys::clear()
{
  for (size_t channel = 0; channel < 16; ++channel) {
    for (std::atomic<uint64_t>& half : keys_[channel])
      half.store(0, std::memory_order_relaxed);
    pedals_[channel].store(0, std::memory_order_relaxed);
  }
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

} // namespace orbi
