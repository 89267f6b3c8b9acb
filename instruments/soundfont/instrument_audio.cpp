// The instrument on the audio thread: nothing here allocates, locks or waits.
#include "soundfont/instrument.h"

#include <algorithm>
#include <utility>

namespace soundfont {

namespace {

constexpr int volume = 7;
constexpr int expression = 11;
constexpr int allSoundOff = 120;
constexpr int allNotesOff = 123;

/// As loud as the key's velocity, the channel's volume and its expression make it.
int loudnessOf(int velocity, const ChannelState& channel)
{
  return velocity * channel.controllers[volume] * channel.controllers[expression] / (127 * 127);
}

} // namespace

/// The audio thread's stay in one call. Of two threads that each raise their own flag and then look
/// at the other's, one at least sees it: hence the sequential order.
class Instrument::AudioTurn {
public:
  explicit AudioTurn(Instrument& instrument) : instrument_(instrument)
  {
    instrument_.inBlock_.store(true);
    granted_ = !instrument_.stopped_.load();
  }
  ~AudioTurn() { instrument_.inBlock_.store(false, std::memory_order_release); }
  AudioTurn(const AudioTurn&) = delete;
  AudioTurn& operator=(const AudioTurn&) = delete;
  bool granted() const { return granted_; }

private:
  Instrument& instrument_;
  bool granted_;
};

/// Takes what other threads have left and leaves the channels' state in turn.
void Instrument::takeChanges()
{
  if (exchange_.taken.test_and_set(std::memory_order_acquire))
    return;
  applyChanges(*synth_);
  if (audio_.coming)
    applyChanges(*audio_.coming);
  exchange_.changedParameters = exchange_.changedPrograms = 0;
  for (size_t i = 0; i < exchange_.keyCount; ++i)
    midi(exchange_.keys[i].status, exchange_.keys[i].key, exchange_.keys[i].velocity);
  exchange_.keyCount = 0;
  if (synth_->takeChannelsChanged()) {
    exchange_.channels = synth_->channels();
    publish();
  }
  exchange_.taken.clear(std::memory_order_release);
}

void Instrument::applyChanges(Synth& synth)
{
  uint32_t left = exchange_.changedParameters;
  for (size_t i = 0; left != 0; ++i, left >>= 1)
    if (left & 1)
      synth.setParameter(i, exchange_.parameters[i]);
  left = exchange_.changedPrograms;
  for (int i = 0; left != 0; ++i, left >>= 1)
    if (left & 1)
      synth.setProgram(i, exchange_.programs[i].program, exchange_.programs[i].bank);
}

void Instrument::midi(uint8_t status, uint8_t data1, uint8_t data2)
{
  synth_->midi(status, data1, data2);
  if (audio_.coming)
    audio_.coming->midi(status, data1, data2);
  const int channel = status & 0x0F;
  const int key = data1 & 0x7F;
  const int value = data2 & 0x7F;
  switch (status & 0xF0) {
  case 0x90:
    if (value > 0) {
      activity_.strike(channel, key, loudnessOf(value, synth_->channels()[channel]));
      break;
    }
    [[fallthrough]];
  case 0x80:
    activity_.release(channel, key);
    break;
  case 0xB0:
    if (key == allSoundOff || key >= allNotesOff)
      activity_.releaseAll(channel);
    break;
  default:
    break;
  }
}

void Instrument::playEvents(const OrbEventList& list)
{
  const AudioTurn turn(*this);
  if (!turn.granted())
    return;
  takeChanges();
  const int count = std::min<int>(list.count, orbMaxEvents);
  for (int i = 0; i < count; ++i) {
    const OrbMidiEventRecord* event = list.events[i];
    if (event && event->type == orbEventMidi)
      midi(event->status, event->data1, event->data2);
  }
}

void Instrument::render(float** outputs, int frames)
{
  const AudioTurn turn(*this);
  if (!turn.granted())
    return;
  takeComingSynth();
  takeChanges();
  const int faded = fadeOut(outputs, frames);
  float* rest[outputCount];
  for (size_t i = 0; i < outputCount; ++i)
    rest[i] = outputs[i] + faded;
  if (frames > faded)
    synth_->render(rest, frames - faded);
  activity_.setVoices(synth_->voices());
}

/// From now on the coming synth hears all that the present one hears.
void Instrument::takeComingSynth()
{
  if (audio_.coming || !next_.load(std::memory_order_relaxed))
    return;
  audio_.coming = next_.exchange(nullptr, std::memory_order_acquire);
  if (!audio_.coming)
    return;
  audio_.coming->takeOver(*synth_);
  audio_.fadeLeft = fadeFrames;
}

/// Plays the present synth's last frames, growing quieter, and then puts the coming one in its
/// place. Answers how many frames are done.
int Instrument::fadeOut(float* const* outputs, int frames)
{
  int at = 0;
  while (audio_.coming && at < frames && audio_.fadeLeft > 0) {
    const int count = std::min({sliceFrames, frames - at, audio_.fadeLeft});
    float* slices[outputCount];
    for (size_t i = 0; i < outputCount; ++i) {
      audio_.slice[i].fill(0.0f);
      slices[i] = audio_.slice[i].data();
    }
    synth_->render(slices, count);
    for (int frame = 0; frame < count; ++frame, --audio_.fadeLeft) {
      const float level = static_cast<float>(audio_.fadeLeft) / fadeFrames;
      for (size_t i = 0; i < outputCount; ++i)
        outputs[i][at + frame] += slices[i][frame] * level;
    }
    at += count;
  }
  if (audio_.coming && audio_.fadeLeft == 0) {
    Synth* former = synth_.release();
    synth_.reset(std::exchange(audio_.coming, nullptr));
    former_.store(former, std::memory_order_release);
  }
  return at;
}

} // namespace soundfont
