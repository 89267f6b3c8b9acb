// How another SoundFont comes into the instrument.
#include "soundfont/instrument.h"

#include <chrono>
#include <exception>
#include <system_error>
#include <utility>

namespace soundfont {

namespace {

using namespace std::chrono_literals;

constexpr auto longestFade = 300ms; // after that the audio thread is taken for standing still

std::unique_ptr<Synth> loadSynth(const std::string& path)
{
  auto synth = std::make_unique<Synth>();
  if (!isSoundFont(path) || !synth->load(path))
    return nullptr;
  return synth;
}

} // namespace

std::shared_ptr<const Font> Instrument::font() const
{
  const std::lock_guard lock(fontMutex_);
  return font_;
}

bool Instrument::changeFont(const std::string& path)
{
  if (fontChange_.exchange(FontChange::loading) == FontChange::loading)
    return false;
  if (loader_.joinable())
    loader_.join();
  try {
    loader_ = std::thread([this, path] { loadAndExchange(path); });
  } catch (const std::system_error&) { // no thread to be had
    fontChange_ = FontChange::failed;
  }
  activity_.changed();
  return true;
}

/// On a thread of its own: reading a large file takes seconds.
void Instrument::loadAndExchange(const std::string& path)
{
  FontChange outcome = FontChange::failed;
  try {
    if (auto fresh = loadSynth(path)) {
      const std::lock_guard lock(mainMutex_);
      if (!main_.on || fresh->begin(main_.sampleRate, parameters(), channelsAsAsked())) {
        useFont(*fresh, path);
        exchangeSynth(std::move(fresh));
        outcome = FontChange::loaded;
      }
    }
  } catch (const std::exception&) { // out of memory: what was there stays
  }
  fontChange_ = outcome;
  activity_.changed();
}

/// Hands the synth to the audio thread and frees the former one. Where no audio runs, at once.
void Instrument::exchangeSynth(std::unique_ptr<Synth> fresh)
{
  if (main_.on) {
    next_.store(fresh.release(), std::memory_order_release);
    const auto end = std::chrono::steady_clock::now() + longestFade;
    while (!former_.load(std::memory_order_relaxed) && std::chrono::steady_clock::now() < end)
      std::this_thread::sleep_for(1ms);
    if (Synth* former = former_.exchange(nullptr, std::memory_order_acquire)) {
      delete former;
      return;
    }
  }
  const bool ran = !stopped_.load();
  stopAudio();
  if (Synth* waiting = next_.exchange(nullptr))
    fresh.reset(waiting);
  else if (audio_.coming)
    fresh.reset(std::exchange(audio_.coming, nullptr));
  if (fresh)
    std::swap(synth_, fresh);
  delete former_.exchange(nullptr);
  if (ran)
    startAudio();
}

/// Makes the synth's SoundFont the one whose names are shown.
void Instrument::useFont(const Synth& synth, const std::string& path)
{
  for (int i = 0; i < programCount; ++i) {
    std::string name = synth.presetName(i).substr(0, longestName);
    main_.fontNames[i] = name.empty() ? "Program " + std::to_string(i + 1) : name;
  }
  const size_t slash = path.rfind('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (const size_t dot = name.rfind('.'); dot != std::string::npos && dot > 0)
    name.erase(dot);
  auto font = std::make_shared<const Font>(Font{path, std::move(name), synth.presets()});
  const std::lock_guard lock(fontMutex_);
  font_ = std::move(font);
}

/// The bank's SoundFont, or the default one where it names none or its file is gone. The caller
/// restarts the synth.
void Instrument::useFontOfBank(const std::string& path)
{
  const std::string present = font()->path;
  for (const std::string& wanted : {path, main_.defaultFont}) {
    if (wanted == present)
      return;
    if (wanted.empty())
      continue;
    if (auto fresh = loadSynth(wanted)) {
      useFont(*fresh, wanted);
      stopAudio();
      synth_ = std::move(fresh);
      return;
    }
  }
}

} // namespace soundfont
