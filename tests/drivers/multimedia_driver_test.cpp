#include "drivers/test_host.h"

#include <gtest/gtest.h>

#include <alsa/asoundlib.h>
#include <cstring>
#include <dlfcn.h>
#include <fstream>

namespace {

// Faults of a device. The module's calls reach the two functions below first, as they are in the
// program; they go on to the library.
std::atomic<int> writeError{0};                      ///< given instead of writing
std::atomic<int> writeErrorsLeft{0};                 ///< so many times
std::atomic<int> onlyFormat{SND_PCM_FORMAT_UNKNOWN}; ///< the device takes no other

template <class Function>
Function inLibrary(const char* name)
{
  void* library = dlopen("libasound.so.2", RTLD_NOW | RTLD_NOLOAD);
  const auto function = reinterpret_cast<Function>(dlsym(library, name));
  dlclose(library);
  return function;
}

} // namespace

extern "C" LOOM_EXPORT snd_pcm_sframes_t snd_pcm_writei(snd_pcm_t* pcm, const void* samples,
                                                        snd_pcm_uframes_t frames)
{
  if (writeErrorsLeft > 0) {
    --writeErrorsLeft;
    return writeError;
  }
  return inLibrary<decltype(&snd_pcm_writei)>("snd_pcm_writei")(pcm, samples, frames);
}

extern "C" LOOM_EXPORT int snd_pcm_hw_params_test_format(snd_pcm_t* pcm,
                                                         snd_pcm_hw_params_t* parameters,
                                                         snd_pcm_format_t format)
{
  if (onlyFormat != SND_PCM_FORMAT_UNKNOWN && onlyFormat != format)
    return -EINVAL;
  return inLibrary<decltype(&snd_pcm_hw_params_test_format)>("snd_pcm_hw_params_test_format")(
      pcm, parameters, format);
}

namespace {

class MultimediaDriver : public testing::Test {
protected:
  MultimediaDriver()
  {
    folder_.write("asoundrc", "pcm.!default { type null }\n"
                              "pcm.written { type file slave.pcm { type null }\n"
                              "  file \"" +
                                  played_ + "\" format raw }\n");
  }

  ~MultimediaDriver() override
  {
    writeErrorsLeft = 0;
    onlyFormat = SND_PCM_FORMAT_UNKNOWN;
  }

  /// Starts on two channels and has the fault happen after some good blocks.
  static void startWithFault(TestHost& host, int error, int times)
  {
    ASSERT_TRUE(host.init()) << host.error();
    host.fill = [error, times](int block, int) {
      if (block == 5) {
        writeError = error;
        writeErrorsLeft = times;
      }
    };
    ASSERT_EQ(host.createBuffers({0, 1}, host.preferredFrames()), loomOk) << host.error();
    ASSERT_EQ(host.start(), loomOk) << host.error();
  }

  TemporaryFolder folder_;
  const std::string played_ = folder_ / "played.raw";
  const Variable configuration_{"ALSA_CONFIG_PATH", folder_ / "asoundrc"};
};

TEST_F(MultimediaDriver, device_gets_the_samples_of_each_format_interleaved)
{
  struct Row {
    snd_pcm_format_t format;
    int type;
    size_t bytes;
  };
  const Row rows[] = {{SND_PCM_FORMAT_UNKNOWN, loomSample_int32, 4}, // all taken: the first choice
                      {SND_PCM_FORMAT_FLOAT_LE, loomSample_float32, 4},
                      {SND_PCM_FORMAT_S24_3LE, loomSample_int24, 3},
                      {SND_PCM_FORMAT_S16_LE, loomSample_int16, 2}};
  const Variable device("LOOM_ALSA_DEVICE", "written");
  const Variable channels("LOOM_ALSA_CHANNELS", "4");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.type);
    onlyFormat = row.format;
    TestHost host("multimedia");
    ASSERT_TRUE(host.init()) << host.error();
    EXPECT_EQ(host.outputs(), 4);
    ASSERT_EQ(host.sampleType(), row.type);
    const int frames = host.preferredFrames();
    std::string expected; // three channels: no more than the highest that is asked for
    host.stopAfter = 4;
    host.fill = [&](int block, int half) {
      for (size_t i = 0; i < frames * row.bytes; ++i)
        for (const LoomBufferInfo& info : host.buffers)
          static_cast<uint8_t*>(info.buffers[half])[i] =
              static_cast<uint8_t>(i * 13 + block * 5 + info.channel * 77 + 1);
      for (size_t i = 0; i < frames * row.bytes; i += row.bytes)
        for (const int channel : {0, 1, 2})
          for (size_t byte = i; byte < i + row.bytes; ++byte)
            expected +=
                static_cast<char>(channel == 1 ? 0 : (byte * 13 + block * 5 + channel * 77 + 1));
    };
    ASSERT_EQ(host.createBuffers({2, 0}, frames), loomOk) << host.error();
    ASSERT_EQ(host.start(), loomOk) << host.error();
    ASSERT_TRUE(host.waitForBlocks(4));
    EXPECT_EQ(host.stop(), loomOk);
    host.disposeBuffers();
    EXPECT_EQ(readFile(played_), expected);
  }
}

TEST_F(MultimediaDriver, default_is_stereo_at_48_kHz_and_paced_where_the_device_has_no_clock)
{
  TestHost host("multimedia");
  ASSERT_TRUE(host.init()) << host.error();
  EXPECT_EQ(host.outputs(), 2);
  EXPECT_EQ(host.channelName(0), "Left");
  EXPECT_EQ(host.sampleRate(), 48000.0);
  EXPECT_EQ(host.preferredFrames(), 256);
  EXPECT_EQ(host.table().setSampleRate(host.driver, 44100.0), loomOk);
  EXPECT_EQ(host.sampleRate(), 44100.0);
  ASSERT_EQ(host.createBuffers({0, 1}, 256), loomOk);
  ASSERT_EQ(host.start(), loomOk);
  ASSERT_TRUE(host.waitForBlocks(30));
  EXPECT_EQ(host.stop(), loomOk);
  const uint64_t allowance = 8 * 256; // what a buffer of three blocks and the first wait let pass
  for (const Switch& seen : host.switches) {
    const uint64_t elapsed = (seen.timeStamp - host.switches[0].timeStamp) * 441 / 10000000;
    EXPECT_LE(seen.position, elapsed + allowance);
  }
  EXPECT_EQ(host.start(), loomOk) << "a second run";
  EXPECT_TRUE(host.waitForBlocks(40));
}

TEST_F(MultimediaDriver, device_that_does_not_open_fails_init_with_its_name)
{
  const Variable device("LOOM_ALSA_DEVICE", "no_such_device");
  TestHost host("multimedia");
  EXPECT_FALSE(host.init());
  EXPECT_NE(host.error().find("no_such_device"), std::string::npos) << host.error();
  EXPECT_EQ(host.createBuffers({0, 1}, 256), loomBadMode);
}

TEST_F(MultimediaDriver, underrun_and_suspension_are_recovered_without_a_reset)
{
  for (const int error : {-EPIPE, -ESTRPIPE, -EINTR}) {
    TestHost host("multimedia");
    startWithFault(host, error, 2);
    EXPECT_TRUE(host.waitForBlocks(20));
    EXPECT_EQ(host.stop(), loomOk);
    EXPECT_EQ(host.resets, 0) << error;
    for (size_t i = 1; i < host.switches.size(); ++i)
      EXPECT_GE(host.switches[i].position, host.switches[i - 1].position + 256);
  }
}

TEST_F(MultimediaDriver, lost_device_asks_for_one_reset_and_falls_silent)
{
  const std::pair<int, int> faults[] = {{-ENODEV, 1}, {-EIO, 1}, {-EPIPE, 1000}};
  for (const auto& [error, times] : faults) {
    TestHost host("multimedia");
    startWithFault(host, error, times);
    EXPECT_TRUE(TestHost::waitFor([&] { return host.resets == 1; }));
    EXPECT_EQ(host.blocks, 6) << error;
    EXPECT_EQ(host.stop(), loomOk);
    EXPECT_EQ(host.disposeBuffers(), loomOk);
    EXPECT_EQ(host.resets, 1) << error;
    writeErrorsLeft = 0;
  }
}

} // namespace
