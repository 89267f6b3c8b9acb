#pragma once

#include "orb/orb.h"
#include "soundfont/activity.h"
#include "soundfont/synth.h"

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace soundfont {

/// The plug-in: what the host asks for on the main thread, what it plays on the audio thread, what
/// the editor does on a thread of its own, and the ways between them.
///
/// Single changes (a parameter, a program, a key) wait in `exchange_` for the next block. The audio
/// thread only ever tries its flag: when another holds it, the change is heard a block later. What
/// replaces everything (a bank, the sample rate) stops the audio thread at a block's edge and
/// starts the synth anew; blocks that come meanwhile are silent. Another SoundFont comes with a
/// synth of its own, made while this one plays on, and the audio thread fades over to it.
class Instrument {
public:
  Instrument() { loading_->instrument = this; }
  ~Instrument();
  Instrument(const Instrument&) = delete;
  Instrument& operator=(const Instrument&) = delete;

  bool load(const std::string& fontPath); ///< the first and default SoundFont

  // Main thread
  int program();
  void setProgramName(int program, const char* name);
  std::string programName(int program) const;
  std::vector<uint8_t>& makeBankChunk();    ///< owned here, good until the next chunk is made
  std::vector<uint8_t>& makeProgramChunk(); ///< likewise
  bool setBankChunk(const void* data, size_t bytes);    ///< false changes nothing
  bool setProgramChunk(const void* data, size_t bytes); ///< likewise
  void setSampleRate(float rate);
  void turnOn();
  void turnOff();

  // Any thread but the audio thread
  void setParameter(size_t index, float value);
  float parameter(size_t index) const;
  void setProgram(int program, uint16_t bank = 0) { setChannelProgram(0, program, bank); }
  void setChannelProgram(int channel, int program, uint16_t bank);
  bool pressKey(int channel, int key, int velocity); ///< false: too much waits, not to be released
  void releaseKey(int channel, int key);             ///< once for each that was pressed
  const Activity& activity() const { return activity_; }

  // The SoundFont, on any thread but the audio thread
  enum class FontChange { none, loading, loaded, failed };
  std::shared_ptr<const Font> font() const; ///< in use; never null once loaded
  bool changeFont(const std::string& path); ///< returns at once; false while another one loads
  FontChange fontChange() const { return fontChange_; } ///< how the last change went
  uint32_t fontChanges() const { return fontChanges_; } ///< counts the turns it has taken

  // Audio thread
  void playEvents(const OrbEventList& list);
  void render(float** outputs, int frames); ///< adds

private:
  class AudioTurn;
  struct Loading;
  struct FontRequest {
    enum class From { user, bank };
    From from;
    std::string path;
    std::string standIn; ///< plays where that one can't be loaded; empty: what plays now goes on
  };
  struct LoadedFont {
    std::unique_ptr<Synth> synth; ///< null where none could be loaded
    std::string path;
  };
  struct KeyMessage {
    uint8_t status, key, velocity;
  };
  struct AskedProgram {
    uint16_t bank;
    uint8_t program;
  };

  void stopAudio();
  void startAudio();
  void restart(const ChannelStates& channels);
  ChannelStates channelsAsAsked();
  ParameterValues parameters() const;

  static LoadedFont loadFont(const FontRequest& request);
  static void loadFonts(const std::shared_ptr<Loading>& loading);
  bool requestFont(FontRequest request);
  void forgetRequests();
  void takeFont(const FontRequest& request, LoadedFont loaded);
  void setFontChange(FontChange change);
  void exchangeSynth(std::unique_ptr<Synth> fresh);
  void useFont(const Synth& synth, const std::string& path);
  void useFontOfBank(const std::string& path);
  void setMissing(const std::string& path);
  std::string fontOfBank() const;

  void takeChanges();
  void applyChanges(Synth& synth);
  void publish();
  void midi(uint8_t status, uint8_t data1, uint8_t data2);
  void takeComingSynth();
  int fadeOut(float* const* outputs, int frames);

  static constexpr size_t keyRoom = 64; ///< messages between two blocks
  static constexpr int fadeFrames = 1024;
  static constexpr int sliceFrames = 256;

  std::unique_ptr<Synth> synth_; // the audio thread's while it isn't stopped
  std::atomic<bool> stopped_{true};
  std::atomic<bool> inBlock_{false};
  std::atomic<Synth*> next_{nullptr};   // owned; waits for the audio thread
  std::atomic<Synth*> former_{nullptr}; // owned; what the audio thread has done with
  struct {
    std::atomic_flag taken;
    ParameterValues parameters{};
    uint32_t changedParameters = 0; // bit for index
    std::array<AskedProgram, channelCount> programs{};
    uint32_t changedPrograms = 0; // bit for channel
    std::array<KeyMessage, keyRoom> keys{};
    size_t keyCount = 0;
    size_t keysHeld = 0;      // each has room for its release: keyCount + keysHeld <= keyRoom
    ChannelStates channels{}; // as the audio thread last left them
  } exchange_;
  struct {
    Synth* coming = nullptr; // owned; plays once synth_ has faded out
    int fadeLeft = 0;
    std::array<std::array<float, sliceFrames>, outputCount> slice{};
  } audio_; // the audio thread's only, or whoever has stopped it
  Activity activity_;
  std::array<std::atomic<float>, parameterCount> parameters_{};

  /// What is shared with the thread that loads SoundFonts. It may outlive the instrument, as
  /// reading a large file can't be broken off.
  struct Loading {
    std::mutex mutex;                 // between the main thread and that one
    Instrument* instrument = nullptr; // null once it is gone
    std::optional<FontRequest> next;
    uint32_t newest = 0; // the request's number: what was loaded for an older one isn't used
    bool runs = false;   // a thread sees to next
  };
  const std::shared_ptr<Loading> loading_ = std::make_shared<Loading>();
  struct {
    std::array<std::string, programCount> fontNames;
    std::map<uint8_t, std::string> names; // given by the user
    std::string defaultFont;
    std::string comingFont; // a bank's, while it loads; else empty
    double sampleRate = 44100.0;
    bool on = false;
    std::vector<uint8_t> chunk;
  } main_; // with loading_->mutex

  mutable std::mutex fontMutex_; // for moments, and the last one to be taken
  std::shared_ptr<const Font> font_;
  std::atomic<FontChange> fontChange_{FontChange::none};
  std::atomic<uint32_t> fontChanges_{0};
  std::thread loader_;
};

} // namespace soundfont
