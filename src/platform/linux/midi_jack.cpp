#ifdef ORBI_HAVE_JACK

#include "platform/clock.h"
#include "platform/linux/jack_server_traces.h"
#include "platform/linux/midi_families.h"
#include "platform/linux/midi_jack_ports.h"
#include "platform/midi_port_names.h"
#include "platform/run_loop.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace orbi::platform {

namespace {

constexpr std::int64_t lookInterval = 2'000'000'000; // nanoseconds
// Clients that show ports of others, beside the server itself with its hardware.
constexpr std::string_view bridges[] = {"a2j", "Midi-Bridge"};

class JackMidi final : public MidiSystem {
public:
  explicit JackMidi(const std::string& instrumentName) : instrumentName_(instrumentName) {}
  ~JackMidi() override { dropTimer(); }

  const char* name() const override { return "JACK MIDI"; }
  bool rescan() override;
  std::unique_ptr<MidiInputPort> openInput(std::size_t index, IMidiInputHandler& handler) override;
  std::unique_ptr<MidiOutputPort> openOutput(std::size_t index,
                                             IMidiOutputHandler& handler) override;
  void setChangeHandler(std::function<void()> handler) override
  {
    notice_.setHandler(std::move(handler));
  }
  void idle() override;

private:
  /// The ports of one direction, beside the list that the user sees.
  struct Direction {
    unsigned long flag; // of the foreign ports
    const char* virtualSuffix;
    MidiPortNamer namer;
    std::vector<std::string> foreign; // names in the graph; empty for our virtual port
  };

  bool join();
  void letGoOfLost();
  void settle();
  void dropTimer();
  std::vector<MidiPortInfo> list(Direction& direction);
  MidiPortInfo describe(const std::string& port, jack_port_t* found) const;
  std::vector<std::string> aliases(jack_port_t* port) const;

  template <typename Port, typename Handler>
  std::unique_ptr<Port> open(const Direction& direction, std::size_t index, Handler& handler);

  const std::string instrumentName_;
  MidiChangeNotice notice_;
  JackLibrary library_;
  JackServerTraces traces_;
  std::unique_ptr<JackClient> client_; // null without a server
  // Open ports may still belong to these.
  std::vector<std::unique_ptr<JackClient>> lost_;
  Direction inputs_{JackPortIsOutput, " In", {}, {}};
  Direction outputs_{JackPortIsInput, " Out", {}, {}};
  bool scanned_ = false;
  std::int64_t nextLook_ = 0;
  RunLoop::TimerId quietTimer_ = 0;
};

// ---- the server ---------------------------------------------------------------------------------

bool JackMidi::join()
{
  if (library_.load())
    client_ = JackClient::join(library_, instrumentName_ + " MIDI", notice_);
  return client_ != nullptr;
}

void JackMidi::letGoOfLost()
{
  if (!client_ || !client_->gone())
    return;
  lost_.push_back(std::move(client_));
  // Whoever joins a server next makes the library tidy up all dead clients of the process, so the
  // others are given the time to let go of theirs.
  nextLook_ = steadyNanoseconds() + lookInterval;
}

/// The application's loop comes back when the client has to do something more.
void JackMidi::settle()
{
  RunLoop* loop = RunLoop::instance();
  const std::int64_t again = client_ ? client_->settle() : 0;
  if (again == 0 || loop == nullptr || quietTimer_ != 0)
    return;
  quietTimer_ = loop->addTimer(again / 1'000'000 + 1, [this] {
    notice_.changed();
    dropTimer();
  });
}

void JackMidi::dropTimer()
{
  if (RunLoop* loop = RunLoop::instance(); loop != nullptr && quietTimer_ != 0)
    loop->removeTimer(quietTimer_);
  quietTimer_ = 0;
}

void JackMidi::idle()
{
  const std::int64_t now = steadyNanoseconds();
  if (!scanned_ || client_ || now < nextLook_)
    return;
  nextLook_ = now + lookInterval;
  if (traces_.worthTrying(now) && join())
    notice_.changed();
}

// ---- the lists ----------------------------------------------------------------------------------

bool JackMidi::rescan()
{
  notice_.look();
  letGoOfLost();
  const std::int64_t now = steadyNanoseconds();
  if (!client_ && now >= nextLook_) {
    scanned_ = true;
    nextLook_ = now + lookInterval;
    traces_.worthTrying(now);
    join();
  }
  if (client_)
    client_->connectWaiting();
  settle();
  auto inputs = list(inputs_);
  auto outputs = list(outputs_);
  return replacePorts(std::move(inputs), std::move(outputs));
}

std::vector<MidiPortInfo> JackMidi::list(Direction& direction)
{
  direction.foreign.clear();
  if (!client_)
    return {};
  std::vector<MidiPortNamer::Port> ports{
      {"", midiPortName(instrumentName_, instrumentName_ + direction.virtualSuffix)}};
  direction.foreign.emplace_back();
  std::vector<MidiPortInfo> list{{"", true}};

  const char** names =
      library_.jack_get_ports(client_->handle(), nullptr, JACK_DEFAULT_MIDI_TYPE, direction.flag);
  for (std::size_t i = 0; names != nullptr && names[i] != nullptr; ++i) {
    const std::string port = names[i];
    jack_port_t* found = library_.jack_port_by_name(client_->handle(), names[i]);
    if (found == nullptr || library_.jack_port_is_mine(client_->handle(), found) != 0)
      continue;
    list.push_back(describe(port, found));
    ports.push_back({port, list.back().name});
    direction.foreign.push_back(port);
  }
  library_.jack_free(names);

  std::vector<std::string> unique = direction.namer.name(ports);
  for (std::size_t i = 0; i < list.size(); ++i)
    list[i].name = std::move(unique[i]);
  return list;
}

std::vector<std::string> JackMidi::aliases(jack_port_t* port) const
{
  const auto size = static_cast<std::size_t>(std::max(library_.jack_port_name_size(), 1));
  std::vector<std::string> texts(2, std::string(size, '\0'));
  char* const rooms[2] = {texts[0].data(), texts[1].data()};
  const int count = library_.jack_port_get_aliases(port, rooms);
  texts.resize(static_cast<std::size_t>(std::clamp(count, 0, 2)));
  for (std::string& text : texts)
    text.resize(std::strlen(text.c_str()));
  return texts;
}

/// Under the name by which a user knows it.
MidiPortInfo JackMidi::describe(const std::string& port, jack_port_t* found) const
{
  const std::string client = port.substr(0, port.find(':'));
  std::string_view shortName = port;
  shortName.remove_prefix(std::min(client.size() + 1, port.size()));
  MidiPortInfo info{midiPortName(client, shortName), false, client_->generation(found)};
  info.isBridge = (library_.jack_port_flags(found) & JackPortIsPhysical) != 0 ||
                  std::ranges::find(bridges, client) != std::end(bridges);
  const std::vector<std::string> others = aliases(found);
  // The server itself numbers its hardware; what it is called is told beside that.
  if (client == "system" && !others.empty())
    info.name = midiPortName("", std::string_view(others[0]).substr(others[0].find(':') + 1));
  if (info.isBridge) {
    info.origin = port;
    for (const std::string& other : others)
      info.origin += '\n' + other;
  }
  return info;
}

// ---- opening ------------------------------------------------------------------------------------

template <typename Port, typename Handler>
std::unique_ptr<Port> JackMidi::open(const Direction& direction, std::size_t index,
                                     Handler& handler)
{
  if (!client_ || index >= direction.foreign.size())
    return nullptr;
  library_.silence();
  auto port = std::make_unique<Port>(*client_, direction.foreign[index], handler);
  return *port ? std::move(port) : nullptr;
}

std::unique_ptr<MidiInputPort> JackMidi::openInput(std::size_t index, IMidiInputHandler& handler)
{
  return open<JackInput>(inputs_, index, handler);
}

std::unique_ptr<MidiOutputPort> JackMidi::openOutput(std::size_t index, IMidiOutputHandler& handler)
{
  return open<JackOutput>(outputs_, index, handler);
}

} // namespace

std::unique_ptr<MidiSystem> makeJackMidi(const std::string& instrumentName)
{
  return std::make_unique<JackMidi>(instrumentName);
}

} // namespace orbi::platform

#endif
