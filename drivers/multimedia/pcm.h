#pragma once

#include <cstdint>
#include <string>

#include <alsa/asoundlib.h>

namespace loom {

/// A sample format that the device takes and we can name to the host.
struct PcmFormat {
  snd_pcm_format_t alsa;
  int type; ///< LoomSampleType
  int bytes;
};

/// What the device would do, found out before any buffer exists.
struct PcmAbilities {
  const PcmFormat* format = nullptr;
  unsigned rate = 0;
  unsigned channels = 0; ///< the most it takes
  int minimumFrames = 0;
  int maximumFrames = 0;
  int preferredFrames = 0;
};

/// What it has been set to.
struct PcmSetup {
  unsigned rate;
  unsigned channels; ///< at least as many as asked for
  int blockFrames;
  int bufferFrames;
};

/// A playback PCM in non-blocking mode. Every wait is bounded. Main thread, but for what a running
/// driver's thread does with handle().
class Pcm {
public:
  Pcm() = default;
  Pcm(const Pcm&) = delete;
  Pcm& operator=(const Pcm&) = delete;
  ~Pcm();

  bool open(const char* device, std::string& reason);

  /// What the device takes at this rate, or at the nearest when it doesn't know that one.
  bool probe(unsigned rate, PcmAbilities& abilities, std::string& reason);
  bool takesRate(unsigned rate);

  /// Sets rate, format and channels from setup and asks for about three blocks of buffer; what came
  /// of it is in setup. The device is left prepared.
  bool configure(const PcmFormat& format, PcmSetup& setup, std::string& reason);
  void release(); ///< takes the configuration back

  snd_pcm_t* handle() const { return handle_; }

private:
  int chooseBuffer(snd_pcm_hw_params_t* parameters, PcmSetup& setup);
  int setThresholds(const PcmSetup& setup);

  snd_pcm_t* handle_ = nullptr;
};

} // namespace loom
