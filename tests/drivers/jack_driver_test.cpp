#include "drivers/test_host.h"
#include "shared/jack_listener.h"
#include "shared/jack_server.h"

#include <gtest/gtest.h>

#include <csignal>
#include <optional>

#if defined(__SANITIZE_THREAD__)
// The server puts both clients' cycles in order through shared memory, which the sanitizer can't
// see.
extern "C" LOOM_EXPORT const char* __tsan_default_suppressions()
{
  return "race:hearPort\n";
}
#endif

namespace {

/// A second client, whose input hears the driver.
class Listener : public JackListener {
public:
  Listener()
  {
    if (!TestHost::waitFor([this] { return open("listener", 1); }))
      return;
    listening = true;
    activate(1 << 16);
  }

  /// The driver's port of this name, wherever it got its client name from.
  std::string find(const char* port) const
  {
    return first(jack_get_ports(client(), port, JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput));
  }
  std::string targetOf(const char* port) const
  {
    const jack_port_t* found = jack_port_by_name(client(), find(port).c_str());
    return first(found ? jack_port_get_all_connections(client(), found) : nullptr);
  }

private:
  static std::string first(const char** names)
  {
    std::string result = names ? names[0] : "";
    jack_free(names);
    return result;
  }
};

class JackDriver : public testing::Test {
protected:
  void SetUp() override
  {
    if (std::system("command -v jackd > /dev/null") != 0)
      GTEST_SKIP() << "jackd is not installed";
    server_.emplace();
    listener_.emplace();
    ASSERT_NE(listener_->client(), nullptr) << "no client of the test's own server";
  }

  /// Counts the frames of channel 0 from 1 upwards, so that a lost or repeated one shows.
  static void startRamp(TestHost& host)
  {
    ASSERT_TRUE(host.init()) << host.error();
    const int frames = host.preferredFrames();
    ASSERT_EQ(host.createBuffers({0, 1}, frames), loomOk) << host.error();
    host.fill = [&host, frames](int block, int half) {
      for (int i = 0; i < frames; ++i)
        static_cast<float*>(host.buffers[0].buffers[half])[i] = float(block * frames + i + 1);
    };
    ASSERT_EQ(host.start(), loomOk) << host.error();
  }

  std::optional<JackServer> server_;
  std::optional<Listener> listener_;
};

TEST_F(JackDriver, every_frame_reaches_the_port_once_and_stop_inside_a_switch_ends_with_its_block)
{
  TestHost host("jack");
  host.stopAfter = 600;
  startRamp(host);
  EXPECT_EQ(host.sampleType(), loomSample_float32);
  EXPECT_EQ(host.sampleRate(), 48000.0);
  ASSERT_TRUE(listener_->connect(listener_->find("out_1")));
  ASSERT_TRUE(host.waitForBlocks(600));
  const int after = listener_->heard + 1000;
  ASSERT_TRUE(TestHost::waitFor([&] { return listener_->heard >= after; }));
  EXPECT_EQ(host.stop(), loomOk);
  EXPECT_EQ(host.blocks, 600);

  const float last = 600.0F * 64;
  int i = 0;
  while (i < after && listener_->samples[i] == 0.0F)
    ++i;
  ASSERT_LT(i, after) << "nothing was heard";
  for (float expected = listener_->samples[i]; expected <= last; ++expected, ++i)
    ASSERT_EQ(listener_->samples[i], expected) << "at frame " << i;
  for (; i < after; ++i)
    ASSERT_EQ(listener_->samples[i], 0.0F) << "at frame " << i;
  for (size_t block = 1; block < host.switches.size(); ++block) {
    EXPECT_EQ((host.switches[block].position - host.switches[block - 1].position) % 64, 0U);
    EXPECT_GT(host.switches[block].position, host.switches[block - 1].position);
  }
}

TEST_F(JackDriver, outputs_go_to_the_speakers_unless_the_user_says_otherwise)
{
  {
    TestHost host("jack");
    startRamp(host);
    EXPECT_EQ(host.outputs(), 2);
    // The server changes its graph between two cycles.
    const auto goesTo = [this](const char* port, const char* target) {
      return TestHost::waitFor([&] { return listener_->targetOf(port) == target; });
    };
    EXPECT_TRUE(goesTo("out_1", "system:playback_1"));
    EXPECT_TRUE(goesTo("out_2", "system:playback_2"));
    EXPECT_EQ(host.disposeBuffers(), loomOk);
    EXPECT_EQ(listener_->find("out_1"), "") << "ports go with the buffers";
  }
  const Variable wish("LOOM_JACK_CONNECT", "0");
  TestHost host("jack");
  startRamp(host);
  ASSERT_TRUE(host.waitForBlocks(20));
  EXPECT_EQ(listener_->find("out_1"), "test_drivers:out_1");
  EXPECT_EQ(listener_->targetOf("out_1"), "");
}

TEST_F(JackDriver, changed_buffer_size_asks_for_one_reset_after_which_the_new_size_plays)
{
  {
    TestHost host("jack");
    startRamp(host);
    ASSERT_TRUE(host.waitForBlocks(10));
    jack_set_buffer_size(listener_->client(), 128);
    EXPECT_TRUE(TestHost::waitFor([&] { return host.resets == 1; }));
    jack_set_buffer_size(listener_->client(), 256);
    const int before = listener_->heard;
    EXPECT_TRUE(TestHost::waitFor([&] { return listener_->heard > before + 1024; }));
    EXPECT_EQ(host.resets, 1);
    EXPECT_EQ(host.stop(), loomOk);
  }
  TestHost host("jack");
  startRamp(host);
  EXPECT_EQ(host.preferredFrames(), 256);
  EXPECT_TRUE(host.waitForBlocks(10));
  EXPECT_EQ(host.resets, 0);
}

TEST_F(JackDriver, block_that_outlasts_a_stop_finds_its_buffers_and_ports)
{
  TestHost host("jack");
  host.outlastAStop();
  EXPECT_TRUE(TestHost::waitFor([this] { return listener_->find("out_1").empty(); }));
}

TEST_F(JackDriver, server_that_ends_or_is_missing_is_told_and_nothing_hangs)
{
  for (const int signal : {SIGKILL, SIGTERM}) {
    {
      TestHost host("jack");
      startRamp(host);
      ASSERT_TRUE(host.waitForBlocks(10));
      server_->end(signal);
      EXPECT_TRUE(TestHost::waitFor([&] { return host.resets == 1; }));
      const int blocks = host.blocks;
      EXPECT_EQ(host.stop(), loomOk);
      EXPECT_EQ(host.blocks, blocks);
      EXPECT_NE(host.start(), loomOk);
      EXPECT_NE(host.error(), "");
      EXPECT_EQ(host.disposeBuffers(), loomOk);
      EXPECT_EQ(host.resets, 1);
    }
    listener_.reset(); // the library doesn't bear a dead client beside one that fails to open
    TestHost host("jack");
    EXPECT_FALSE(host.init());
    EXPECT_EQ(host.error(), "no JACK server is running");
    server_.reset();
    server_.emplace();
    listener_.emplace();
    ASSERT_NE(listener_->client(), nullptr);
  }
}

} // namespace
