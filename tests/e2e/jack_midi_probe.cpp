// Plays to the player over JACK MIDI and listens to what it answers, as one client of the server.
//
//   jack_midi_probe wait                     until the server is there
//   jack_midi_probe notes PLAYER COUNT       single notes at all places of a cycle
//   jack_midi_probe flood SECONDS RATE       16 ports at RATE events a second each
//
// "notes" prints the frames of a cycle, then a line a note: its place in its cycle, and how many
// frames later the impulse of the player's instrument was heard, or -1 if it wasn't before the next
// one. "flood" counts upwards on the pitch wheel of a channel for each port, and prints how many
// events each one sent.
#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using Frames = std::int64_t;

void pause(int milliseconds)
{
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

/// False when that doesn't come true for half a minute.
template <typename Condition>
bool waitFor(const Condition& condition)
{
  for (int i = 0; i < 3000; ++i, pause(10))
    if (condition())
      return true;
  return false;
}

/// A client whose cycles are a subclass's.
class Client {
public:
  Client() : client_(open()) {}
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  virtual ~Client() = default;

  explicit operator bool() const { return client_ != nullptr; }
  bool activate()
  {
    jack_set_process_callback(
        client_,
        [](jack_nframes_t frames, void* self) {
          static_cast<Client*>(self)->process(frames);
          return 0;
        },
        this);
    return jack_activate(client_) == 0;
  }
  /// Before what the cycles use goes.
  void close()
  {
    if (client_ != nullptr)
      jack_client_close(client_);
    client_ = nullptr;
  }

protected:
  virtual void process(jack_nframes_t frames) = 0;
  jack_port_t* addPort(const std::string& name, const char* type, JackPortFlags direction)
  {
    return jack_port_register(client_, name.c_str(), type, direction, 0);
  }
  jack_client_t* client() const { return client_; }

  std::atomic<bool> running{false};

private:
  static jack_client_t* open()
  {
    jack_set_error_function([](const char*) {});
    jack_set_info_function([](const char*) {});
    jack_client_t* client = nullptr;
    waitFor([&] { // until the server is there
      client = jack_client_open("probe", JackNoStartServer, nullptr);
      return client != nullptr;
    });
    return client;
  }

  jack_client_t* client_;
};

bool writeEvent(void* events, Frames place, std::uint8_t status, int data1, int data2)
{
  auto* bytes = jack_midi_event_reserve(events, static_cast<jack_nframes_t>(place), 3);
  if (bytes == nullptr)
    return false;
  bytes[0] = status;
  bytes[1] = static_cast<std::uint8_t>(data1);
  bytes[2] = static_cast<std::uint8_t>(data2);
  return true;
}

// ---- notes --------------------------------------------------------------------------------------

class Notes final : public Client {
public:
  explicit Notes(int count) : notes_(static_cast<std::size_t>(count)) {}
  ~Notes() override { close(); }

  int run(const std::string& player)
  {
    out_ = addPort("out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput);
    in_ = addPort("in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput);
    const auto connect = [&](const std::string& from, const std::string& to) {
      return waitFor([&] { return jack_connect(client(), from.c_str(), to.c_str()) == 0; });
    };
    if (!activate() || !connect(jack_port_name(out_), player + " MIDI:in") ||
        !connect(player + ":out_1", jack_port_name(in_)))
      return 1;
    pause(500); // the player takes part in cycles from some moment on
    running = true;
    if (!waitFor([&] { return done_.load(); }))
      return 1;
    std::printf("%u\n", jack_get_buffer_size(client()));
    for (const Note& note : notes_)
      std::printf("%lld %lld\n", static_cast<long long>(note.place),
                  static_cast<long long>(note.heard < 0 ? -1 : note.heard - note.sent));
    return 0;
  }

private:
  static constexpr Frames cyclesApart = 16; ///< from note to note
  struct Note {
    Frames place = 0;
    Frames sent = 0;
    Frames heard = -1;
  };

  void process(jack_nframes_t frames) override
  {
    void* events = jack_port_get_buffer(out_, frames);
    jack_midi_clear_buffer(events);
    if (!running || done_)
      return;
    if (next_ > 0)
      listen(notes_[next_ - 1], frames);
    if (cycle_ % cyclesApart == 0)
      play(events, frames);
    else if (cycle_ % cyclesApart == cyclesApart / 2)
      writeEvent(events, 0, 0x80, 60, 0);
    ++cycle_;
    now_ += frames;
  }
  void play(void* events, Frames frames)
  {
    if (next_ == notes_.size()) {
      done_ = true;
      return;
    }
    // All places come in turn, however many frames a cycle has.
    const Frames place = static_cast<Frames>(next_) * 37 % frames;
    notes_[next_++] = {place, now_ + place, -1};
    writeEvent(events, place, 0x90, 60, 100);
  }
  void listen(Note& note, jack_nframes_t frames) const
  {
    const auto* heard = static_cast<const float*>(jack_port_get_buffer(in_, frames));
    const auto* end = heard + frames;
    const auto* impulse = std::find_if(heard, end, [](float sample) { return sample > 0.5F; });
    if (impulse != end && note.heard < 0)
      note.heard = now_ + (impulse - heard);
  }

  jack_port_t* out_ = nullptr;
  jack_port_t* in_ = nullptr;
  std::vector<Note> notes_;
  std::size_t next_ = 0;
  Frames cycle_ = 0;
  Frames now_ = 0; ///< of the cycle's begin
  std::atomic<bool> done_{false};
};

// ---- flood --------------------------------------------------------------------------------------

class Flood final : public Client {
public:
  Flood(double seconds, Frames rate) : seconds_(seconds), rate_(rate) {}
  ~Flood() override { close(); }

  int run()
  {
    for (int i = 1; i <= ports; ++i)
      outputs_.push_back(
          {addPort("port_" + std::to_string(i), JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput), 0});
    sampleRate_ = jack_get_sample_rate(client());
    last_ = static_cast<Frames>(seconds_ * static_cast<double>(rate_));
    if (!activate() || !waitFor([this] { return isHeard(); }))
      return 1;
    pause(1000); // connections settle
    running = true;
    while (!done_)
      pause(20);
    for (const Output& output : outputs_)
      std::printf("%lld\n", static_cast<long long>(output.sent));
    return isRefused_ ? 1 : 0;
  }

private:
  static constexpr int ports = 16;
  struct Output {
    jack_port_t* port;
    Frames sent; ///< events
  };

  bool isHeard() const
  {
    return std::ranges::all_of(
        outputs_, [](const Output& output) { return jack_port_connected(output.port) > 0; });
  }
  void process(jack_nframes_t frames) override
  {
    for (std::size_t i = 0; i < outputs_.size(); ++i) {
      void* events = jack_port_get_buffer(outputs_[i].port, frames);
      jack_midi_clear_buffer(events);
      if (running)
        send(outputs_[i], events, static_cast<std::uint8_t>(0xE0 | i), frames);
    }
    if (!running)
      return;
    now_ += frames;
    done_ = outputs_.back().sent == last_;
  }
  void send(Output& output, void* events, std::uint8_t status, Frames frames)
  {
    for (; output.sent < last_; ++output.sent) {
      const Frames due = output.sent * sampleRate_ / rate_;
      if (due >= now_ + frames)
        return;
      const auto step = static_cast<int>(output.sent);
      isRefused_ |= !writeEvent(events, due - now_, status, step & 127, step >> 7 & 127);
    }
  }

  const double seconds_;
  const Frames rate_; ///< events a second
  Frames sampleRate_ = 0;
  Frames last_ = 0; ///< events of a port
  std::vector<Output> outputs_;
  Frames now_ = 0;
  bool isRefused_ = false; ///< an event found no room in the server's buffer
  std::atomic<bool> done_{false};
};

} // namespace

int main(int count, char** values)
{
  if (count == 2 && std::string("wait") == values[1]) {
    class Guest final : public Client {
      void process(jack_nframes_t) override {}
    } guest;
    const bool isThere(guest);
    guest.close();
    return isThere ? 0 : 1;
  }
  const std::string what = count == 4 ? values[1] : "";
  if (what == "notes") {
    Notes notes(std::atoi(values[3]));
    return notes ? notes.run(values[2]) : 1;
  }
  if (what == "flood") {
    Flood flood(std::atof(values[2]), std::atoll(values[3]));
    return flood ? flood.run() : 1;
  }
  std::fprintf(stderr, "jack_midi_probe wait | notes PLAYER COUNT | flood SECONDS RATE\n");
  return 2;
}
