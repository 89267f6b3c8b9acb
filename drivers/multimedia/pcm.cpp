#include "multimedia/pcm.h"

#include "loom/loom.h"

#include <algorithm>

namespace loom {

namespace {

constexpr snd_pcm_uframes_t wishedFrames = 256;
constexpr snd_pcm_uframes_t fewestFrames = 16;
constexpr snd_pcm_uframes_t mostFrames = 8192;
constexpr unsigned wishedPeriods = 3;

constexpr PcmFormat formats[] = {
    {SND_PCM_FORMAT_S32_LE, loomSample_int32, 4},
    {SND_PCM_FORMAT_FLOAT_LE, loomSample_float32, 4},
    {SND_PCM_FORMAT_S24_3LE, loomSample_int24, 3},
    {SND_PCM_FORMAT_S16_LE, loomSample_int16, 2},
};

std::string words(const char* what, int error)
{
  return std::string(what) + ": " + snd_strerror(error);
}

/// Everything that the device can do with interleaved samples.
int anyParameters(snd_pcm_t* pcm, snd_pcm_hw_params_t* parameters)
{
  const int result = snd_pcm_hw_params_any(pcm, parameters);
  return result < 0 ? result
                    : snd_pcm_hw_params_set_access(pcm, parameters, SND_PCM_ACCESS_RW_INTERLEAVED);
}

const PcmFormat* firstFormat(snd_pcm_t* pcm, snd_pcm_hw_params_t* parameters)
{
  for (const PcmFormat& format : formats)
    if (snd_pcm_hw_params_test_format(pcm, parameters, format.alsa) == 0)
      return &format;
  return nullptr;
}

} // namespace

Pcm::~Pcm()
{
  if (handle_)
    snd_pcm_close(handle_);
}

bool Pcm::open(const char* device, std::string& reason)
{
  // Non-blocking, so that a device in use is an error and no reason to wait.
  const int error = snd_pcm_open(&handle_, device, SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK);
  if (error < 0) {
    handle_ = nullptr;
    reason = words("the ALSA device can't be opened", error) + ": " + device;
  }
  return error >= 0;
}

bool Pcm::takesRate(unsigned rate)
{
  snd_pcm_hw_params_t* parameters = nullptr;
  snd_pcm_hw_params_alloca(&parameters);
  return snd_pcm_hw_params_any(handle_, parameters) >= 0 &&
         snd_pcm_hw_params_test_rate(handle_, parameters, rate, 0) == 0;
}

bool Pcm::probe(unsigned rate, PcmAbilities& abilities, std::string& reason)
{
  snd_pcm_hw_params_t* parameters = nullptr;
  snd_pcm_hw_params_alloca(&parameters);
  int error = anyParameters(handle_, parameters);
  if (error < 0) {
    reason = words("the ALSA device takes no interleaved samples", error);
    return false;
  }
  abilities.format = firstFormat(handle_, parameters);
  if (!abilities.format) {
    reason = "the ALSA device takes none of our sample formats";
    return false;
  }
  abilities.rate = rate;
  snd_pcm_uframes_t minimum = fewestFrames;
  snd_pcm_uframes_t maximum = mostFrames;
  snd_pcm_uframes_t preferred = wishedFrames;
  if ((error = snd_pcm_hw_params_set_format(handle_, parameters, abilities.format->alsa)) < 0 ||
      (error = snd_pcm_hw_params_get_channels_max(parameters, &abilities.channels)) < 0 ||
      (error = snd_pcm_hw_params_set_rate_near(handle_, parameters, &abilities.rate, nullptr)) <
          0) {
    reason = words("the ALSA device gives no format", error);
    return false;
  }
  snd_pcm_hw_params_get_period_size_min(parameters, &minimum, nullptr);
  snd_pcm_hw_params_get_period_size_max(parameters, &maximum, nullptr);
  snd_pcm_hw_params_set_period_size_near(handle_, parameters, &preferred, nullptr);
  // A device may know odd bounds only; the block that it prefers is always among what we offer.
  abilities.preferredFrames = static_cast<int>(std::clamp(preferred, fewestFrames, mostFrames));
  abilities.minimumFrames = std::min(
      static_cast<int>(std::clamp(minimum, fewestFrames, mostFrames)), abilities.preferredFrames);
  abilities.maximumFrames = std::max(
      static_cast<int>(std::clamp(maximum, fewestFrames, mostFrames)), abilities.preferredFrames);
  return true;
}

bool Pcm::configure(const PcmFormat& format, PcmSetup& setup, std::string& reason)
{
  snd_pcm_hw_params_t* parameters = nullptr;
  snd_pcm_hw_params_alloca(&parameters);
  int error = 0;
  if ((error = anyParameters(handle_, parameters)) < 0 ||
      (error = snd_pcm_hw_params_set_format(handle_, parameters, format.alsa)) < 0 ||
      (error = snd_pcm_hw_params_set_channels_min(handle_, parameters, &setup.channels)) < 0 ||
      (error = snd_pcm_hw_params_set_channels_first(handle_, parameters, &setup.channels)) < 0 ||
      (error = snd_pcm_hw_params_set_rate(handle_, parameters, setup.rate, 0)) < 0 ||
      (error = chooseBuffer(parameters, setup)) < 0 ||
      (error = snd_pcm_hw_params(handle_, parameters)) < 0 || (error = setThresholds(setup)) < 0 ||
      (error = snd_pcm_prepare(handle_)) < 0) {
    reason = words("the ALSA device can't be set up", error);
    return false;
  }
  return true;
}

int Pcm::chooseBuffer(snd_pcm_hw_params_t* parameters, PcmSetup& setup)
{
  snd_pcm_uframes_t period = setup.blockFrames;
  int error = snd_pcm_hw_params_set_period_size_near(handle_, parameters, &period, nullptr);
  if (error < 0)
    return error;
  // Two blocks at least, whatever the device makes of the period.
  snd_pcm_uframes_t fewest = 2 * snd_pcm_uframes_t(setup.blockFrames);
  if ((error = snd_pcm_hw_params_set_buffer_size_min(handle_, parameters, &fewest)) < 0)
    return error;
  snd_pcm_uframes_t buffer = wishedPeriods * std::max(period, snd_pcm_uframes_t(setup.blockFrames));
  if ((error = snd_pcm_hw_params_set_buffer_size_near(handle_, parameters, &buffer)) < 0)
    return error;
  setup.bufferFrames = static_cast<int>(buffer);
  return 0;
}

int Pcm::setThresholds(const PcmSetup& setup)
{
  snd_pcm_sw_params_t* parameters = nullptr;
  snd_pcm_sw_params_alloca(&parameters);
  const int whole = setup.bufferFrames / setup.blockFrames * setup.blockFrames;
  int error = 0;
  if ((error = snd_pcm_sw_params_current(handle_, parameters)) < 0 ||
      (error = snd_pcm_sw_params_set_start_threshold(handle_, parameters, whole)) < 0 ||
      (error = snd_pcm_sw_params_set_avail_min(handle_, parameters, setup.blockFrames)) < 0)
    return error;
  return snd_pcm_sw_params(handle_, parameters);
}

void Pcm::release()
{
  snd_pcm_drop(handle_);
  snd_pcm_hw_free(handle_);
}

} // namespace loom
