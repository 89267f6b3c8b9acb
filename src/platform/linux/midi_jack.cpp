#ifdef ORBI_HAVE_JACK

#include "platform/clock.h"
#include "platform/linux/jack_server_traces.h"
#include "platform/linux/midi_families.h"
#include "platform/linux/midi_jack_ports.h"
#include "platform/midi_port_names.h"

#include <algorithm>
#include <utility>

namespace orbi::platform {

namespace {

constexpr std::int64_t lookInterval = 2'000'000'000; // nanoseconds

class JackMidi final : public MidiSystem {
public:
  explicit JackMidi(const std::string& instrumentName) : instrumentName_(instrumentName) {}

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
  std::vector<MidiPortInfo> list(Direction& direction);
  std::string wish(const std::string& port, jack_port_t* found) const;

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

  const char** names =
      library_.jack_get_ports(client_->handle(), nullptr, JACK_DEFAULT_MIDI_TYPE, direction.flag);
  for (std::size_t i = 0; names != nullptr && names[i] != nullptr; ++i) {
    const std::string port = names[i];
    jack_port_t* found = library_.jack_port_by_name(client_->handle(), names[i]);
    if (found == nullptr || library_.jack_port_is_mine(client_->handle(), found) != 0)
      continue;
    ports.push_back({port, wish(port, found)});
    direction.foreign.push_back(port);
  }
  library_.jack_free(names);

  std::vector<MidiPortInfo> list;
  for (std::string& name : direction.namer.name(ports))
    list.push_back({std::move(name), list.empty()});
  return list;
}

/// As a user knows it.
std::string JackMidi::wish(const std::string& port, jack_port_t* found) const
{
  const std::string client = port.substr(0, port.find(':'));
  std::string_view shortName = port;
  shortName.remove_prefix(std::min(client.size() + 1, port.size()));
  if (client != "system")
    return midiPortName(client, shortName);

  // The server itself numbers its hardware; what it is called is told beside that.
  const auto size = static_cast<std::size_t>(std::max(library_.jack_port_name_size(), 1));
  std::string first(size, '\0');
  std::string second(size, '\0');
  char* const aliases[2] = {first.data(), second.data()};
  if (library_.jack_port_get_aliases(found, aliases) < 1)
    return midiPortName(client, shortName);
  const std::string_view alias = first.c_str();
  return midiPortName("", alias.substr(alias.find(':') + 1));
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
