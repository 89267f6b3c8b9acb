#ifdef ORBI_HAVE_ALSA

#include "platform/clock.h"
#include "platform/linux/midi_alsa_departures.h"
#include "platform/linux/midi_alsa_ports.h"
#include "platform/linux/midi_families.h"
#include "platform/midi_change_notice.h"
#include "platform/midi_port_names.h"

#include <array>
#include <atomic>
#include <utility>

namespace orbi::platform {

namespace {

constexpr std::int64_t lookInterval = 2'000'000'000; // nanoseconds
constexpr std::int64_t retryInterval =
    30'000'000'000; // after one that failed with its device there

constexpr unsigned canBeRead = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
constexpr unsigned canBeWritten = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
constexpr unsigned hidden = SND_SEQ_PORT_CAP_NO_EXPORT;

class AlsaMidi final : public MidiSystem {
public:
  explicit AlsaMidi(const std::string& instrumentName) : instrumentName_(instrumentName) {}
  ~AlsaMidi() override { watcher_.reset(); }

  const char* name() const override { return "ALSA MIDI"; }
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
  struct Address {
    int client, port;
    bool isHardware;
  };

  /// The ports of one direction, beside the list that the user sees. The first is our virtual port.
  struct Direction {
    unsigned capabilities;    // of the foreign ports
    unsigned ownCapabilities; // of ours
    const char* virtualSuffix;
    const char* connectedPrefix;
    MidiPortNamer namer;
    std::vector<Address> addresses;
    std::vector<MidiPortInfo> found; // in the same order, still without names
    int virtualPort = -1;
    bool virtualIsOpen = false;
  };

  bool connect();
  void watch();
  bool isOwnConnection(const snd_seq_event_t& event) const;
  void followConnections();
  std::vector<MidiPortInfo> list(Direction& direction);
  void collect(Direction& direction, std::vector<MidiPortNamer::Port>& ports);
  void collectPorts(Direction& direction, int client, const char* clientName,
                    std::vector<MidiPortNamer::Port>& ports);
  bool open(Direction& direction, std::size_t index, AlsaOpenPort& opened);
  void noteInput(AlsaOpenPort& opened);
  void noteOutput(AlsaOpenPort& opened);

  const std::string instrumentName_;
  MidiChangeNotice notice_;
  AlsaLibrary library_;
  std::unique_ptr<AlsaClient> client_; // null without a sequencer
  std::unique_ptr<AlsaClient> watchedClient_;
  std::unique_ptr<AlsaReader> watcher_;
  std::unique_ptr<AlsaClock> clock_; // of all input
  int connectedInputs_ = 0;          // that the program has open
  AlsaDepartures departures_;
  // Which clients are those of open outputs. A sign that comes late is made good by the next look.
  std::array<std::atomic<bool>, 256> isOutput_{};
  Direction inputs_{canBeRead, canBeWritten, " In", "from ", {}, {}, {}};
  Direction outputs_{canBeWritten, canBeRead, " Out", "to ", {}, {}, {}};
  bool scanned_ = false;
  std::int64_t nextLook_ = 0;
};

// ---- the sequencer ------------------------------------------------------------------------------

bool AlsaMidi::connect()
{
  if (!alsaSequencerIsThere() || !library_.load())
    return false;
  client_ = AlsaClient::open(library_, instrumentName_);
  if (!client_)
    return false;
  clock_ = std::make_unique<AlsaClock>(*client_);
  for (Direction* direction : {&inputs_, &outputs_})
    direction->virtualPort =
        client_->addPort(instrumentName_ + direction->virtualSuffix, direction->ownCapabilities,
                         direction == &inputs_ ? clock_->queue() : -1);
  watch();
  return true;
}

/// The sequencer announces what comes and goes at a port of its own.
void AlsaMidi::watch()
{
  watchedClient_ = AlsaClient::open(library_, instrumentName_);
  if (!watchedClient_)
    return;
  const int port = watchedClient_->addPort("watch", canBeWritten | hidden, -1);
  if (port < 0 ||
      library_.snd_seq_connect_from(watchedClient_->handle(), port, SND_SEQ_CLIENT_SYSTEM,
                                    SND_SEQ_PORT_SYSTEM_ANNOUNCE) < 0)
    return;
  watcher_ = std::make_unique<AlsaReader>(*watchedClient_, [this](const snd_seq_event_t* event) {
    departures_.note(event);
    const bool isPort = event == nullptr || (event->type >= SND_SEQ_EVENT_CLIENT_START &&
                                             event->type <= SND_SEQ_EVENT_PORT_CHANGE);
    if (isPort || isOwnConnection(*event))
      notice_.changed();
  });
  watcher_->start("MIDI ports");
}

/// Of the virtual input, or one that an output loses; all connections are announced. The watcher's
/// thread.
bool AlsaMidi::isOwnConnection(const snd_seq_event_t& event) const
{
  const bool isEnd = event.type == SND_SEQ_EVENT_PORT_UNSUBSCRIBED;
  if (!isEnd && event.type != SND_SEQ_EVENT_PORT_SUBSCRIBED)
    return false;
  const snd_seq_addr_t& to = event.data.connect.dest;
  return (to.client == client_->id() && to.port == inputs_.virtualPort) ||
         (isEnd && isOutput_[event.data.connect.sender.client].load(std::memory_order_relaxed));
}

void AlsaMidi::followConnections()
{
  if (client_)
    clock_->run(connectedInputs_ > 0 || client_->isWrittenTo(inputs_.virtualPort));
}

void AlsaMidi::idle()
{
  const std::int64_t now = steadyNanoseconds();
  if (!scanned_ || client_ || now < nextLook_)
    return;
  nextLook_ = now + lookInterval;
  if (!alsaSequencerIsThere())
    return;
  nextLook_ = now + retryInterval;
  if (connect())
    notice_.changed();
}

// ---- the lists ----------------------------------------------------------------------------------

bool AlsaMidi::rescan()
{
  notice_.look();
  scanned_ = true;
  if (!client_)
    connect();
  followConnections();
  auto inputs = list(inputs_);
  auto outputs = list(outputs_);
  return replacePorts(std::move(inputs), std::move(outputs));
}

std::vector<MidiPortInfo> AlsaMidi::list(Direction& direction)
{
  direction.addresses.clear();
  direction.found.clear();
  if (!client_)
    return {};
  std::vector<MidiPortNamer::Port> ports{
      {"", midiPortName(instrumentName_, instrumentName_ + direction.virtualSuffix)}};
  direction.addresses.push_back({client_->id(), direction.virtualPort, false});
  direction.found.push_back({"", true});
  collect(direction, ports);

  std::vector<MidiPortInfo> list = std::move(direction.found);
  std::vector<std::string> names = direction.namer.name(ports);
  for (std::size_t i = 0; i < list.size(); ++i)
    list[i].name = std::move(names[i]);
  return list;
}

void AlsaMidi::collect(Direction& direction, std::vector<MidiPortNamer::Port>& ports)
{
  snd_seq_client_info_t* info = nullptr;
  if (library_.snd_seq_client_info_malloc(&info) < 0)
    return;
  library_.snd_seq_client_info_set_client(info, -1);
  while (library_.snd_seq_query_next_client(client_->handle(), info) >= 0) {
    const int client = library_.snd_seq_client_info_get_client(info);
    if (client != SND_SEQ_CLIENT_SYSTEM && client != client_->id())
      collectPorts(direction, client, library_.snd_seq_client_info_get_name(info), ports);
  }
  library_.snd_seq_client_info_free(info);
}

/// Ports that aren't exported are some program's own business, or a connection of ours.
void AlsaMidi::collectPorts(Direction& direction, int client, const char* clientName,
                            std::vector<MidiPortNamer::Port>& ports)
{
  snd_seq_port_info_t* info = nullptr;
  if (library_.snd_seq_port_info_malloc(&info) < 0)
    return;
  library_.snd_seq_port_info_set_client(info, client);
  library_.snd_seq_port_info_set_port(info, -1);
  while (library_.snd_seq_query_next_port(client_->handle(), info) >= 0) {
    const unsigned capabilities = library_.snd_seq_port_info_get_capability(info);
    if ((capabilities & (direction.capabilities | hidden)) != direction.capabilities)
      continue;
    const int port = library_.snd_seq_port_info_get_port(info);
    const unsigned type = library_.snd_seq_port_info_get_type(info);
    ports.push_back({std::to_string(client) + ":" + std::to_string(port),
                     midiPortName(clientName, library_.snd_seq_port_info_get_name(info))});
    direction.found.push_back({"", false, departures_.generation(client, port), clientName});
    direction.addresses.push_back({client, port, (type & SND_SEQ_PORT_TYPE_HARDWARE) != 0});
  }
  library_.snd_seq_port_info_free(info);
}

// ---- opening ------------------------------------------------------------------------------------

bool AlsaMidi::open(Direction& direction, std::size_t index, AlsaOpenPort& opened)
{
  if (!client_ || index >= direction.addresses.size())
    return false;
  if (index == 0) {
    if (direction.virtualPort < 0 || std::exchange(direction.virtualIsOpen, true))
      return false;
    opened = {client_.get(), direction.virtualPort, nullptr,
              [&direction] { direction.virtualIsOpen = false; }};
    return true;
  }
  const bool isInput = &direction == &inputs_;
  const std::string& name = (isInput ? inputs() : outputs())[index].name;
  auto own = AlsaClient::open(library_, instrumentName_);
  const int port =
      own ? own->addPort(direction.connectedPrefix + name, direction.ownCapabilities | hidden,
                         isInput ? clock_->queue() : -1)
          : -1;
  if (port < 0)
    return false;
  const Address& to = direction.addresses[index];
  const auto connect = isInput ? library_.snd_seq_connect_from : library_.snd_seq_connect_to;
  if (connect(own->handle(), port, to.client, to.port) < 0)
    return false;
  opened.client = own.get();
  opened.port = port;
  opened.own = std::move(own);
  if (isInput)
    noteInput(opened);
  else
    noteOutput(opened);
  return true;
}

/// Reads, and so hears itself of what becomes of its connection.
void AlsaMidi::noteInput(AlsaOpenPort& opened)
{
  opened.lost = [this] { notice_.changed(); };
  opened.closed = [this] {
    --connectedInputs_;
    followConnections();
  };
  ++connectedInputs_;
  followConnections();
}

/// Reads nothing; the watcher hears for it.
void AlsaMidi::noteOutput(AlsaOpenPort& opened)
{
  std::atomic<bool>& isOutput = isOutput_[opened.client->id() & 0xFF];
  opened.closed = [&isOutput] { isOutput.store(false, std::memory_order_relaxed); };
  isOutput.store(true, std::memory_order_relaxed);
}

std::unique_ptr<MidiInputPort> AlsaMidi::openInput(std::size_t index, IMidiInputHandler& handler)
{
  AlsaOpenPort port{};
  if (!open(inputs_, index, port))
    return nullptr;
  return std::make_unique<AlsaInput>(std::move(port), *clock_, handler);
}

std::unique_ptr<MidiOutputPort> AlsaMidi::openOutput(std::size_t index, IMidiOutputHandler& handler)
{
  AlsaOpenPort port{};
  if (!open(outputs_, index, port))
    return nullptr;
  return std::make_unique<AlsaOutput>(std::move(port), outputs_.addresses[index].isHardware,
                                      handler);
}

} // namespace

std::unique_ptr<MidiSystem> makeAlsaMidi(const std::string& instrumentName)
{
  return std::make_unique<AlsaMidi>(instrumentName);
}

} // namespace orbi::platform

#endif
