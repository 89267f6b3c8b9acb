#include "common/driver.h"
#include "common/steady_clock.h"

#include <jack/jack.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/auxv.h>
#include <thread>

namespace loom {

namespace {

constexpr auto longestProcessWait = std::chrono::seconds(2);

void ignoreWords(const char*) {}

/// In place, as the library's copy lies in pages of its own.
inline void copyBlock(const float* from, float* to, jack_nframes_t frames)
{
  for (jack_nframes_t i = 0; i < frames; ++i)
    to[i] = from[i];
}

/// The name under which the program was started, without folder and extension.
std::string clientName()
{
  const auto* path = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  std::string name = path ? path : "";
  name.erase(0, name.rfind('/') + 1);
  if (const size_t dot = name.rfind('.'); dot != std::string::npos && dot > 0)
    name.erase(dot);
  std::replace(name.begin(), name.end(), ':', '-'); // parts client from port
  const size_t longest = std::max(jack_client_name_size() - 1, 0);
  return name.empty() ? "orbiplayer" : name.substr(0, longest);
}

/// A client of the JACK server, one port for each output. The server's process callback is the
/// driver's thread.
class alignas(4096) JackDriver final : public Driver {
public:
  static constexpr ClassId classId = {0x9e, 0xea, 0xdc, 0x05, 0x17, 0xfd, 0xc6, 0x42,
                                      0x96, 0xaa, 0x4c, 0x24, 0x9d, 0x53, 0x5d, 0xb7};

  JackDriver() : Driver(classId) {}
  ~JackDriver() override;

private:
  struct Port {
    jack_port_t* port;
    const float* halves[2];
  };
  std::span<const Port> ports() const { return {ports_.data(), portCount_}; }

  // The device
  const char* name() const override { return "LOOM JACK Driver"; }
  bool init() override;
  bool openClient();
  void setCallbacks();
  void readPlaybackPorts();
  int outputCount() const override { return outputCount_; }
  int outputLatency() const override;
  BufferSizes bufferSizes() const override;
  double sampleRate() const override { return sampleRate_; }
  int32_t sampleType() const override { return loomSample_float32; }
  void nameOutput(int channel, std::span<char, loomNameBytes> name) const override;

  // Buffers and running
  int32_t openBuffers() override;
  void closeBuffers() override;
  int32_t start() override;
  int32_t stop() override;
  void connectPorts();

  // The process callback
  LOOM_EACH_BLOCK static int processCallback(jack_nframes_t frames, void* self);
  LOOM_EACH_BLOCK void process(jack_nframes_t frames);
  LOOM_EACH_BLOCK void playBlock(jack_nframes_t frames);
  void silence(jack_nframes_t frames);
  LOOM_EACH_BLOCK uint64_t beginCycle(jack_nframes_t frames);
  void askForPosition(uint64_t now);

  jack_client_t* client_ = nullptr;
  int outputCount_ = 0;
  double sampleRate_ = 0.0;
  uint64_t period_ = 0;             // of a cycle, in nanoseconds
  jack_nframes_t serverFrames_ = 0; // when the client was opened
  std::vector<std::string> playbackPorts_;
  std::array<Port, loomMaxChannels> ports_; // beside outputs(); fixed while the client is active
  size_t portCount_ = 0;
  bool active_ = false;

  // stop() clears running_ and then waits until no process callback is inside. Both sides write one
  // flag and read the other, hence sequential order.
  std::atomic<bool> running_{false};
  std::atomic<bool> inProcess_{false};
  std::atomic<bool> serverGone_{false}; // a hint, nothing is ordered by it

  struct {
    int half = 0;
    bool first = true;
    uint64_t position = 0;
    uint64_t due = 0; // when the cycle should begin, by the steady clock
    jack_nframes_t serverFrame = 0;
  } cycle_; // the process callback only, while running_
};

JackDriver::~JackDriver()
{
  // The library itself takes a client away whose server is gone, when somebody joins the next one.
  if (client_ && !serverGone_.load(std::memory_order_relaxed))
    jack_client_close(client_);
  // The library may outlive this module.
  jack_set_error_function(nullptr);
  jack_set_info_function(nullptr);
}

// ---- the device ---------------------------------------------------------------------------------

bool JackDriver::init()
{
  jack_set_error_function(ignoreWords);
  jack_set_info_function(ignoreWords);
  if (!openClient())
    return false;
  sampleRate_ = jack_get_sample_rate(client_);
  serverFrames_ = jack_get_buffer_size(client_);
  period_ = static_cast<uint64_t>(serverFrames_ / sampleRate_ * 1e9);
  readPlaybackPorts();
  setCallbacks();
  return true;
}

bool JackDriver::openClient()
{
  jack_status_t status{};
  client_ = jack_client_open(clientName().c_str(), JackNoStartServer, &status);
  if (client_)
    return true;
  if (status & JackServerFailed)
    fail(loomNotPresent, "no JACK server is running");
  else
    fail(loomNotPresent, "the JACK server refuses the client (status 0x%x)", unsigned(status));
  return false;
}

void JackDriver::setCallbacks()
{
  jack_set_process_callback(client_, &JackDriver::processCallback, this);
  jack_set_buffer_size_callback(
      client_,
      [](jack_nframes_t frames, void* self) {
        auto& driver = *static_cast<JackDriver*>(self);
        if (frames != driver.serverFrames_)
          driver.host().requestReset();
        return 0;
      },
      this);
  jack_set_sample_rate_callback(
      client_,
      [](jack_nframes_t rate, void* self) {
        auto& driver = *static_cast<JackDriver*>(self);
        if (rate != driver.sampleRate_)
          driver.host().requestReset();
        return 0;
      },
      this);
  jack_on_shutdown(
      client_,
      [](void* self) {
        auto& driver = *static_cast<JackDriver*>(self);
        driver.serverGone_.store(true, std::memory_order_relaxed);
        driver.host().requestReset();
      },
      this);
}

void JackDriver::readPlaybackPorts()
{
  const char** names = jack_get_ports(client_, nullptr, JACK_DEFAULT_AUDIO_TYPE,
                                      JackPortIsPhysical | JackPortIsInput);
  for (int i = 0; names && names[i] && i < loomMaxChannels; ++i)
    playbackPorts_.emplace_back(names[i]);
  jack_free(names);
  outputCount_ = std::max(2, static_cast<int>(playbackPorts_.size()));
}

int JackDriver::outputLatency() const
{
  jack_port_t* port =
      playbackPorts_.empty() ? nullptr : jack_port_by_name(client_, playbackPorts_[0].c_str());
  if (!port)
    return static_cast<int>(serverFrames_);
  jack_latency_range_t range{};
  jack_port_get_latency_range(port, JackPlaybackLatency, &range);
  return static_cast<int>(range.max);
}

BufferSizes JackDriver::bufferSizes() const
{
  const int size = static_cast<int>(serverFrames_);
  return {size, size, size, 0};
}

void JackDriver::nameOutput(int channel, std::span<char, loomNameBytes> name) const
{
  std::snprintf(name.data(), name.size(), "out_%d", channel + 1);
}

// ---- buffers and running ------------------------------------------------------------------------

int32_t JackDriver::openBuffers()
{
  if (serverGone_.load(std::memory_order_relaxed))
    return fail(loomNotPresent, "the JACK server has ended");
  for (const Output& output : outputs()) {
    char portName[loomNameBytes];
    nameOutput(output.channel, portName);
    jack_port_t* port =
        jack_port_register(client_, portName, JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
    if (!port)
      return fail(loomNoMemory, "the JACK server gives no port %s", portName);
    ports_[portCount_++] = {port,
                            {reinterpret_cast<const float*>(output.halves[0]),
                             reinterpret_cast<const float*>(output.halves[1])}};
  }
  return loomOk;
}

void JackDriver::closeBuffers()
{
  if (!serverGone_.load(std::memory_order_relaxed))
    for (const Port& port : ports())
      jack_port_unregister(client_, port.port);
  portCount_ = 0;
}

int32_t JackDriver::start()
{
  if (active_)
    return loomBadMode;
  if (serverGone_.load(std::memory_order_relaxed))
    return fail(loomNotPresent, "the JACK server has ended");
  cycle_ = {};
  host().beginRun();
  running_.store(true);
  if (jack_activate(client_) != 0) {
    running_.store(false);
    return fail(loomNotPresent, "the JACK server doesn't start the client");
  }
  active_ = true;
  connectPorts();
  return loomOk;
}

/// Wishes only: a port that can't be connected is left to the user's patch bay.
void JackDriver::connectPorts()
{
  const char* wish = std::getenv("LOOM_JACK_CONNECT");
  if (wish && std::strcmp(wish, "0") == 0)
    return;
  for (size_t i = 0; i < portCount_; ++i) {
    const size_t channel = outputs()[i].channel;
    if (channel < playbackPorts_.size())
      jack_connect(client_, jack_port_name(ports_[i].port), playbackPorts_[channel].c_str());
  }
}

int32_t JackDriver::stop()
{
  running_.store(false);
  if (host().insideSwitch())
    return loomOk; // this block goes out, silence follows until a stop from outside
  if (!active_)
    return loomOk;
  // Bounded, for a server that dies may take its callback's thread with it.
  const auto limit = std::chrono::steady_clock::now() + longestProcessWait;
  while (inProcess_.load() && std::chrono::steady_clock::now() < limit)
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  const bool isServerGone = serverGone_.load(std::memory_order_relaxed);
  if (inProcess_.load() && !isServerGone)
    return fail(loomBadMode,
                "the host doesn't come back from a block"); // to leave would wait for it
  if (!isServerGone)
    jack_deactivate(client_);
  active_ = false;
  return loomOk;
}

// ---- the process callback -----------------------------------------------------------------------

int JackDriver::processCallback(jack_nframes_t frames, void* self)
{
  static_cast<JackDriver*>(self)->process(frames);
  return 0;
}

void JackDriver::process(jack_nframes_t frames)
{
  inProcess_.store(true);
  const bool running = running_.load();
  if (running && frames == static_cast<jack_nframes_t>(this->frames())) {
    playBlock(frames);
  } else {
    silence(frames);
    if (running)
      host().requestReset();
  }
  inProcess_.store(false);
}

void JackDriver::playBlock(jack_nframes_t frames)
{
  const uint64_t timeStamp = beginCycle(frames);
  const int half = cycle_.half;
  host().bufferSwitch(half, cycle_.position, timeStamp);
  for (const Port& port : ports())
    copyBlock(port.halves[half], static_cast<float*>(jack_port_get_buffer(port.port, frames)),
              frames);
  cycle_.half ^= 1;
}

void JackDriver::silence(jack_nframes_t frames)
{
  for (const Port& port : ports())
    std::memset(jack_port_get_buffer(port.port, frames), 0, frames * sizeof(float));
}

/// Moves the position on by what the server has really played and answers when this cycle began.
/// The server knows of lost cycles, but to be told of each would cost another thread's time: it is
/// asked when a cycle comes more than half a period off its time, which the first one does.
uint64_t JackDriver::beginCycle(jack_nframes_t frames)
{
  const uint64_t now = steadyNow();
  cycle_.position += frames;
  cycle_.serverFrame += frames;
  cycle_.due += period_;
  if (now - cycle_.due + period_ / 2 > period_) // early ones wrap
    askForPosition(now);
  return now;
}

void JackDriver::askForPosition(uint64_t now)
{
  const jack_nframes_t serverFrame = jack_last_frame_time(client_);
  const jack_nframes_t lost = serverFrame - cycle_.serverFrame; // the counter wraps
  if (cycle_.first)
    cycle_.position = 0;
  else if (lost < 0x80000000U)
    cycle_.position += lost;
  cycle_.first = false;
  cycle_.serverFrame = serverFrame;
  cycle_.due = now;
}

} // namespace

} // namespace loom

extern "C" LOOM_EXPORT int32_t LoomCreateDriver(const uint8_t classId[16], void** driver)
{
  return loom::createDriver<loom::JackDriver>(classId, driver);
}
