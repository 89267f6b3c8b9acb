#include "test_host.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <jack/jack.h>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__SANITIZE_THREAD__)
// The server puts both clients' cycles in order through shared memory, which the sanitizer can't
// see.
extern "C" LOOM_EXPORT const char* __tsan_default_suppressions()
{
  return "race:hearPort\n";
}
#endif

namespace {

/// A JACK server with its dummy back end under a name that nobody else has.
class Server {
public:
  Server()
  {
    // Synchronous, so that no cycle is lost when the machine is busy.
    const char* arguments[] = {"jackd", "-n", name_.c_str(), "-r", "-S", "-d",
                               "dummy", "-r", "48000",       "-p", "64", nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    if (posix_spawnp(&process_, "jackd", &files, nullptr, const_cast<char**>(arguments), environ) !=
        0)
      process_ = 0;
    posix_spawn_file_actions_destroy(&files);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server()
  {
    end(SIGTERM);
    removeTraces();
  }

  void end(int signal)
  {
    if (process_ > 0) {
      kill(process_, signal);
      waitpid(process_, nullptr, 0);
    }
    process_ = 0;
  }

private:
  /// What a server leaves in shared memory when it is killed.
  void removeTraces() const
  {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm", error))
      if (entry.path().filename().string().find(name_) != std::string::npos)
        std::filesystem::remove_all(entry.path(), error);
  }

  const std::string name_ = "orbi_test_" + std::to_string(getpid());
  const Variable server_{"JACK_DEFAULT_SERVER", name_};
  const Variable reservation_{"JACK_NO_AUDIO_RESERVATION", "1"};
  pid_t process_ = 0;
};

/// A second client, whose input hears the driver.
class Listener {
public:
  Listener()
  {
    silenceLibrary();
    TestHost::waitFor([this] {
      client_ = jack_client_open("listener", JackNoStartServer, nullptr);
      return client_ != nullptr;
    });
    if (!client_)
      return;
    port_ = jack_port_register(client_, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(client_, hearPort, this);
    jack_activate(client_);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener()
  {
    silenceLibrary(); // the driver has given the library its voice back
    if (client_)
      jack_client_close(client_);
  }

  jack_client_t* client() const { return client_; }

  /// The driver's port of this name, wherever it got its client name from.
  std::string find(const char* port) const
  {
    const char** names = jack_get_ports(client_, port, JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput);
    std::string result = names ? names[0] : "";
    jack_free(names);
    return result;
  }

  bool connect(const std::string& from) const
  {
    return jack_connect(client_, from.c_str(), jack_port_name(port_)) == 0;
  }

  std::string targetOf(const char* port) const
  {
    const jack_port_t* found = jack_port_by_name(client_, find(port).c_str());
    const char** names = found ? jack_port_get_all_connections(client_, found) : nullptr;
    std::string result = names ? names[0] : "";
    jack_free(names);
    return result;
  }

  void setBufferSize(int frames) const { jack_set_buffer_size(client_, frames); }

  std::atomic<int> heard{0}; ///< frames; those before it are in samples
  std::vector<float> samples = std::vector<float>(1 << 16);

private:
  static void silenceLibrary()
  {
    jack_set_error_function([](const char*) {});
    jack_set_info_function([](const char*) {});
  }

  static int hearPort(jack_nframes_t frames, void* self)
  {
    auto& listener = *static_cast<Listener*>(self);
    const int at = listener.heard;
    if (at + frames > listener.samples.size())
      return 0;
    std::memcpy(listener.samples.data() + at, jack_port_get_buffer(listener.port_, frames),
                frames * sizeof(float));
    listener.heard = at + static_cast<int>(frames);
    return 0;
  }

  jack_client_t* client_ = nullptr;
  std::atomic<jack_port_t*> port_ = nullptr;
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

  std::optional<Server> server_;
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
    listener_->setBufferSize(128);
    EXPECT_TRUE(TestHost::waitFor([&] { return host.resets == 1; }));
    listener_->setBufferSize(256);
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
