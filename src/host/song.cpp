#include "host/song.h"

#include "host/midi_file.h"
#include "persist/whole_file.h"
#include "platform/module.h"

#include <algorithm>
#include <memory>
#ifdef ORBI_HAVE_SMF
#include <smf.h>
#endif

namespace orbi {

namespace {

#ifdef ORBI_HAVE_SMF

/// libsmf and the GLib beneath it, loaded only for those who play a song: together they take 1.4
/// MiB of memory and half a millisecond.
class SmfLibrary {
public:
  SmfLibrary()
  {
    std::string ignored;
    module_ = platform::Module::load(ORBI_SMF_LIBRARY, ignored);
    complete_ = find(load, "smf_load_from_memory") && find(destroy, "smf_delete") &&
                find(seconds, "smf_get_length_seconds") &&
                find(setLog, "g_log_set_default_handler");
  }
  ~SmfLibrary() { module_.abandon(); } // GLib doesn't bear being unloaded
  SmfLibrary(const SmfLibrary&) = delete;
  SmfLibrary& operator=(const SmfLibrary&) = delete;

  explicit operator bool() const { return complete_; }

  decltype(&smf_load_from_memory) load = nullptr;
  decltype(&smf_delete) destroy = nullptr;
  decltype(&smf_get_length_seconds) seconds = nullptr;
  decltype(&g_log_set_default_handler) setLog = nullptr;

private:
  template <typename Function>
  bool find(Function*& function, const char* name)
  {
    function = module_.function<Function>(name);
    return function != nullptr;
  }

  platform::Module module_;
  bool complete_ = false;
};

/// Keeps the first complaint that is logged while it lives, instead of printing it.
class LogCatcher {
public:
  explicit LogCatcher(const SmfLibrary& library)
      : library_(library), before_(library.setLog(keep, &text_))
  {
  }
  ~LogCatcher() { library_.setLog(before_, nullptr); }
  LogCatcher(const LogCatcher&) = delete;
  LogCatcher& operator=(const LogCatcher&) = delete;

  const std::string& text() const { return text_; }

private:
  static void keep(const gchar*, GLogLevelFlags, const gchar* message, gpointer text)
  {
    auto& kept = *static_cast<std::string*>(text);
    if (kept.empty() && message)
      kept = message;
    std::replace(kept.begin(), kept.end(), '\n', ' ');
  }

  std::string text_;
  const SmfLibrary& library_;
  GLogFunc before_;
};

void addEvent(Song& song, const smf_event_t& event)
{
  const uint8_t* bytes = event.midi_buffer;
  const int size = event.midi_buffer_length;
  if (size < 1 || bytes[0] == 0xFF)
    return;
  SongEvent added;
  added.seconds = event.time_seconds;
  if (bytes[0] == 0xF0) {
    added.bytes[0] = 0xF0;
    added.sysexOffset = static_cast<uint32_t>(song.sysex.size());
    added.sysexBytes = static_cast<uint32_t>(size);
    song.sysex.insert(song.sysex.end(), bytes, bytes + size);
  } else {
    added.size = static_cast<uint8_t>(std::min(size, 3));
    std::copy_n(bytes, added.size, added.bytes.begin());
  }
  song.events.push_back(added);
}

std::optional<Song> parse(const std::vector<uint8_t>& tidy, std::string& wrong)
{
  const SmfLibrary library;
  if (!library) {
    wrong = "can't be played: the library libsmf is not installed";
    return std::nullopt;
  }
  const LogCatcher log(library);
  const std::unique_ptr<smf_t, decltype(library.destroy)> file(
      library.load(tidy.data(), static_cast<int>(tidy.size())), library.destroy);
  if (!file) {
    wrong = "can't be read: " + log.text();
    return std::nullopt;
  }
  Song song;
  for (guint i = 0; i < file->tracks_array->len; ++i) {
    const auto* track = static_cast<const smf_track_t*>(g_ptr_array_index(file->tracks_array, i));
    for (guint k = 0; k < track->events_array->len; ++k)
      addEvent(song, *static_cast<const smf_event_t*>(g_ptr_array_index(track->events_array, k)));
  }
  std::stable_sort(song.events.begin(), song.events.end(),
                   [](const SongEvent& a, const SongEvent& b) { return a.seconds < b.seconds; });
  song.seconds = library.seconds(file.get());
  return song;
}

#else

std::optional<Song> parse(const std::vector<uint8_t>&, std::string& wrong)
{
  wrong = "can't be played: this program was built without libsmf";
  return std::nullopt;
}

#endif

} // namespace

std::optional<Song> readSong(std::span<const uint8_t> file, std::string& reason)
{
  std::vector<uint8_t> tidy;
  reason = tidyMidiFile(file, tidy);
  return reason.empty() ? parse(tidy, reason) : std::nullopt;
}

std::optional<Song> readSong(const std::filesystem::path& path, std::string& reason)
{
  const std::optional<std::string> bytes = readWholeFile(path, largestMidiFile, reason);
  if (!bytes)
    return std::nullopt;
  return readSong({reinterpret_cast<const uint8_t*>(bytes->data()), bytes->size()}, reason);
}

} // namespace orbi
