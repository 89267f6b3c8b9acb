#include "app/midi_setup.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "studio/port_registry.h"
#include "ui/application.h"

namespace orbi {

CM_REGISTER_ABSTRACT(OrbiPlayerMidiSetup); // needs the studio

namespace {

/// The first look loads libraries and joins servers, for which the first blocks shall not wait.
constexpr int64_t firstLookMilliseconds = 100;

bool isOwnPort(const PPort& port)
{
  return port.isSubtype(virtualPortKind);
}

/// What could play the input.
std::vector<PPort*> sources()
{
  std::vector<PPort*> ports;
  PPortRegistry* registry = PPortRegistry::instance();
  for (int32_t i = 0; registry && i < registry->countPorts(); ++i) {
    auto* port = static_cast<PPort*>(registry->ports().at(i));
    if (port->isType(midiPortType) && port->isOutput())
      ports.push_back(port);
  }
  return ports;
}

bool isNamed(const PPort& port, const std::string& name)
{
  return port.getName().compare(name.c_str(), TextCompare::ignoreCase) == 0;
}

} // namespace

OrbiPlayerMidiSetup::~OrbiPlayerMidiSetup()
{
  stop();
}

void OrbiPlayerMidiSetup::start(std::vector<std::unique_ptr<platform::MidiSystem>> systems)
{
  for (std::unique_ptr<platform::MidiSystem>& system : systems) {
    system->setChangeHandler([changed = hasChanged_] {
      changed->store(true, std::memory_order_relaxed);
      UApplication::wantIdle();
    });
    devices_.push_back(make<PMmeMidiDevice>(std::move(system), PMmeMidiDevice::Scan::later));
    studio_.addDevice(devices_.back().get(), deviceIsStudios);
  }
  merged_ = make<PMergedMidiInput>();
  studio_.addDevice(merged_.get(), deviceIsStudios);
  studio_.start();
  if (PPortRegistry* registry = PPortRegistry::instance())
    registry->addDependent(this);
  if (UApplication* application = UApplication::instance())
    application->addIdle(this);
  lookLater();
}

void OrbiPlayerMidiSetup::lookLater()
{
  platform::RunLoop* loop = platform::RunLoop::instance();
  if (!loop)
    return;
  firstLook_ = loop->addTimer(firstLookMilliseconds, [this] {
    findPorts();
    dropTimer();
  });
}

void OrbiPlayerMidiSetup::dropTimer()
{
  if (platform::RunLoop* loop = platform::RunLoop::instance(); loop && firstLook_ != 0)
    loop->removeTimer(firstLook_);
  firstLook_ = 0;
}

void OrbiPlayerMidiSetup::stop()
{
  if (UApplication* application = UApplication::instance())
    application->removeIdle(this);
  dropTimer();
  if (PPortRegistry* registry = PPortRegistry::instance())
    registry->removeDependent(this);
  if (input_)
    input_->disconnectAll();
  input_ = {};
  studio_.stop();
  for (const Ref<PMmeMidiDevice>& device : devices_)
    studio_.removeDevice(device.get());
  if (merged_)
    studio_.removeDevice(merged_.get());
  devices_.clear();
  merged_ = {};
}

// The port

void OrbiPlayerMidiSetup::setWantedPort(PMidiInput& input, const std::string& name)
{
  input_ = Ref<PMidiInput>::share(&input);
  wanted_ = name == everyInput ? PMergedMidiInput::portName : name;
  for (int32_t i = input.countConnections() - 1; i >= 0; --i)
    if (PPort* port = input.connectionAt(i); port && !isOwnPort(*port))
      input.disconnect(port);
  connectWanted();
}

void OrbiPlayerMidiSetup::connectWanted()
{
  if (!input_)
    return;
  bool plays = false;
  for (int32_t i = 0; i < input_->countConnections(); ++i)
    plays |= !isOwnPort(*input_->connectionAt(i));
  for (PPort* port : sources()) {
    if (isOwnPort(*port)) {
      input_->connect(port);
    } else if (!plays && !wanted_.empty() && isNamed(*port, wanted_)) {
      plays = input_->connect(port);
    }
  }
}

std::string OrbiPlayerMidiSetup::connectedPort() const
{
  std::string name = wanted_;
  for (int32_t i = 0; input_ && i < input_->countConnections(); ++i)
    if (const PPort* port = input_->connectionAt(i); !isOwnPort(*port))
      name = port->getName().text();
  return name;
}

// Ports that come and go

void OrbiPlayerMidiSetup::findPorts()
{
  hasChanged_->store(false, std::memory_order_relaxed);
  for (const Ref<PMmeMidiDevice>& device : devices_)
    device->rescan();
}

int32_t OrbiPlayerMidiSetup::handleMessage(FMessage& message)
{
  if (!message.isMessage("Idle"))
    return 0;
  for (const Ref<PMmeMidiDevice>& device : devices_)
    device->system().idle();
  if (hasChanged_->load(std::memory_order_relaxed))
    findPorts();
  return 1;
}

void OrbiPlayerMidiSetup::update(CmObject*, int32_t code)
{
  if (code == noticePortSet)
    connectWanted();
}

} // namespace orbi
