// How another SoundFont comes into the instrument.
#include "soundfont/instrument.h"

#include <chrono>
#include <exception>
#include <functional>
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
  if (fontChange_ == FontChange::loading)
    return false;
  const std::lock_guard lock(loading_->mutex);
  if (fontChange_ == FontChange::loading)
    return false;
  if (!requestFont({FontRequest::From::user, path, {}}))
    setFontChange(FontChange::failed);
  return true;
}

/// With the mutex, as all that follows but for the loading itself. False: no thread to be had.
bool Instrument::requestFont(FontRequest request)
{
  Loading& loading = *loading_;
  ++loading.newest;
  loading.next = std::move(request);
  if (!loading.runs) {
    if (loader_.joinable())
      loader_.join(); // it has left the mutex for the last time
    try {
      loader_ = std::thread(loadFonts, loading_);
    } catch (const std::exception&) {
      loading.next.reset();
      return false;
    }
    loading.runs = true;
  }
  setFontChange(FontChange::loading);
  return true;
}

/// On a thread of its own: reading a large file takes seconds. It sees to what is asked for
/// meanwhile as well; only what was asked for last comes into the instrument.
void Instrument::loadFonts(const std::shared_ptr<Loading>& loading)
{
  std::unique_lock lock(loading->mutex);
  while (loading->next) {
    const FontRequest request = *std::exchange(loading->next, std::nullopt);
    const uint32_t number = loading->newest;
    lock.unlock();
    LoadedFont loaded = loadFont(request);
    lock.lock();
    if (loading->instrument && number == loading->newest)
      loading->instrument->takeFont(request, std::move(loaded));
  }
  loading->runs = false;
}

Instrument::LoadedFont Instrument::loadFont(const FontRequest& request)
{
  for (const std::string& path : {std::cref(request.path), std::cref(request.standIn)}) {
    try {
      if (!path.empty())
        if (auto synth = loadSynth(path))
          return {std::move(synth), path};
    } catch (const std::exception&) { // out of memory, or the file's folder can't be looked at
    }
  }
  return {};
}

void Instrument::takeFont(const FontRequest& request, LoadedFont loaded)
{
  FontChange outcome = FontChange::failed;
  const bool ofBank = request.from == FontRequest::From::bank;
  try {
    const bool came = loaded.synth != nullptr && loaded.path == request.path;
    if (loaded.synth &&
        (!main_.on || loaded.synth->begin(main_.sampleRate, parameters(), channelsAsAsked()))) {
      useFont(*loaded.synth, loaded.path);
      exchangeSynth(std::move(loaded.synth));
      outcome = FontChange::loaded;
    }
    if (ofBank && !came) {
      setMissing(request.path);
      outcome = FontChange::loaded; // the header says what stands in for it
    }
  } catch (const std::exception&) { // out of memory: what was there stays
  }
  main_.comingFont.clear();
  setFontChange(outcome);
}

void Instrument::setFontChange(FontChange change)
{
  fontChange_ = change;
  ++fontChanges_;
  activity_.changed();
}

/// What loads isn't used any more.
void Instrument::forgetRequests()
{
  ++loading_->newest;
  loading_->next.reset();
  main_.comingFont.clear();
  if (fontChange_ == FontChange::loading)
    setFontChange(FontChange::none);
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
  auto font = std::make_shared<const Font>(Font{path, std::move(name), synth.presets(), {}});
  const std::lock_guard lock(fontMutex_);
  font_ = std::move(font);
}

/// The bank's SoundFont, or the default one where it names none or its file is gone. While the
/// audio runs it comes when it is loaded; before, it is there at once. The caller restarts the
/// synth.
void Instrument::useFontOfBank(const std::string& path)
{
  forgetRequests();
  const std::string& wanted = path.empty() ? main_.defaultFont : path;
  const std::string present = font()->path;
  if (present == wanted) {
    setMissing({});
    return;
  }
  const bool hasDefault = present == main_.defaultFont || wanted == main_.defaultFont;
  const FontRequest request{FontRequest::From::bank, wanted,
                            hasDefault ? std::string() : main_.defaultFont};
  if (main_.on && requestFont(request))
    main_.comingFont = wanted;
  else
    takeFont(request, loadFont(request));
}

/// The SoundFont that a bank names: what it was told, even while that one loads or is missing.
std::string Instrument::fontOfBank() const
{
  const auto present = font();
  const std::string& named = !main_.comingFont.empty()  ? main_.comingFont
                             : present->missing.empty() ? present->path
                                                        : present->missing;
  return named == main_.defaultFont ? std::string() : named;
}

/// Notes that the present SoundFont stands in for another one, or with an empty path for none.
void Instrument::setMissing(const std::string& path)
{
  const auto present = font();
  if (present->missing == path)
    return;
  auto changed = std::make_shared<Font>(*present);
  changed->missing = path;
  const std::lock_guard lock(fontMutex_);
  font_ = std::move(changed);
  activity_.changed();
}

} // namespace soundfont
