#pragma once

#include "soundfont/state.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace soundfont {

/// The keys that are down on one channel, bit by bit.
using KeySet = std::array<uint64_t, 2>;

/// What the audio thread tells of its playing, for whoever shows it. Each value stands alone and
/// shows at worst a moment late, so relaxed order is enough. Notes and voices are written by the
/// audio thread only, or while it is kept out.
class Activity {
public:
  struct Chosen {
    uint16_t bank;
    uint8_t program;
    bool operator==(const Chosen&) const = default;
  };
  struct Strikes {
    uint32_t count;   ///< of notes so far, modulo 2^24
    uint8_t loudness; ///< of the last one, 0 to 127
  };

  // Writing
  void strike(int channel, int key, int loudness)
  {
    const uint32_t count = (strikes_[channel].load(relaxed) >> 8) + 1;
    strikes_[channel].store(count << 8 | static_cast<uint32_t>(loudness), relaxed);
    setKey(channel, key, true);
    changed();
  }
  void release(int channel, int key)
  {
    setKey(channel, key, false);
    changed();
  }
  void releaseAll(int channel)
  {
    for (auto& half : keys_[channel])
      half.store(0, relaxed);
    changed();
  }
  void choose(int channel, Chosen chosen)
  {
    chosen_[channel].store(static_cast<uint32_t>(chosen.bank) << 8 | chosen.program, relaxed);
    changed();
  }
  void setVoices(int count) { voices_.store(count, relaxed); }
  void changed()
  {
    changes_.fetch_add(1, relaxed);
  } ///< anything that somebody may show; any thread

  // Reading, on any thread
  Strikes strikes(int channel) const
  {
    const uint32_t value = strikes_[channel].load(relaxed);
    return {value >> 8, static_cast<uint8_t>(value)};
  }
  KeySet keys(int channel) const
  {
    return {keys_[channel][0].load(relaxed), keys_[channel][1].load(relaxed)};
  }
  Chosen chosen(int channel) const
  {
    const uint32_t value = chosen_[channel].load(relaxed);
    return {static_cast<uint16_t>(value >> 8), static_cast<uint8_t>(value)};
  }
  int voices() const { return voices_.load(relaxed); }
  uint32_t changes() const { return changes_.load(relaxed); }

private:
  static constexpr auto relaxed = std::memory_order_relaxed;

  void setKey(int channel, int key, bool down)
  {
    auto& half = keys_[channel][key / 64];
    const uint64_t bit = uint64_t{1} << key % 64;
    const uint64_t before = half.load(relaxed);
    half.store(down ? before | bit : before & ~bit, relaxed);
  }

  std::array<std::atomic<uint32_t>, channelCount> strikes_{};
  std::array<std::array<std::atomic<uint64_t>, 2>, channelCount> keys_{};
  std::array<std::atomic<uint32_t>, channelCount> chosen_{};
  std::atomic<int> voices_{0};
  std::atomic<uint32_t> changes_{0};
};

} // namespace soundfont
