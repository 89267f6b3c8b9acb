#include "platform/midi_loopback.h"

#include "platform/lock.h"
#include "platform/midi_input_stream.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace orbi::platform {

namespace {

class Inside {
public:
  explicit Inside(RecursiveLock& lock) : lock_(lock) { lock_.enter(); }
  ~Inside() { lock_.leave(); }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

private:
  RecursiveLock& lock_;
};

} // namespace

/// What all parts may still use when the family has gone.
struct MidiLoopback::Shared {
  struct Held {
    IMidiOutputHandler* handler;
    MidiBuffer* buffer;
  };

  std::mutex mutex; // over all here; no handler is called inside
  std::vector<std::shared_ptr<Cable>> cables;
  std::optional<std::uint32_t> stamp;
  bool refuses = false;
  bool holds = false;
  std::vector<Held> held;

  std::vector<Held> takeHeld(const IMidiOutputHandler* of);
};

/// From an output to the input of the same name.
struct MidiLoopback::Cable {
  std::string wish;
  unsigned number; // no other has it
  bool isVirtual;

  // An input's handler runs inside, so that closing waits for it; it may send to other cables.
  RecursiveLock lock;
  bool plugged = true;
  Input* input = nullptr;
  bool outputIsOpen = false;

  bool carry(std::span<const std::uint8_t> bytes, std::optional<std::uint32_t> stamp);
};

class MidiLoopback::Input final : public MidiInputPort {
public:
  Input(std::shared_ptr<Cable> cable, IMidiInputHandler& handler)
      : cable_(std::move(cable)), stream_(handler)
  {
    cable_->input = this;
  }
  ~Input() override
  {
    const Inside inside(cable_->lock);
    cable_->input = nullptr;
  }

  void addBuffer(MidiBuffer& buffer) override
  {
    const Inside inside(cable_->lock);
    stream_.addBuffer(buffer);
  }
  bool start() override
  {
    const Inside inside(cable_->lock);
    startedAt_ = MidiSystem::milliseconds();
    return started_ = true;
  }
  void reset() override
  {
    const Inside inside(cable_->lock);
    started_ = false;
    stream_.reset();
  }
  bool isLost() const override
  {
    const Inside inside(cable_->lock);
    return isCut_;
  }
  void cut() ///< inside the cable's lock
  {
    isCut_ = true;
    stream_.breakOff(MidiSystem::milliseconds() - startedAt_);
  }
  void take(std::span<const std::uint8_t> bytes, std::optional<std::uint32_t> stamp)
  {
    if (started_ && !isCut_)
      stream_.feed(bytes, stamp.value_or(MidiSystem::milliseconds() - startedAt_));
  }

private:
  const std::shared_ptr<Cable> cable_;
  MidiInputStream stream_;
  bool started_ = false;
  bool isCut_ = false;
  std::uint32_t startedAt_ = 0;
};

class MidiLoopback::Output final : public MidiOutputPort {
public:
  Output(std::shared_ptr<Cable> cable, std::shared_ptr<Shared> shared, IMidiOutputHandler& handler)
      : cable_(std::move(cable)), shared_(std::move(shared)), handler_(handler)
  {
    cable_->outputIsOpen = true;
  }
  ~Output() override
  {
    for (const auto& held : shared_->takeHeld(&handler_))
      handler_.done(*held.buffer);
    const Inside inside(cable_->lock);
    cable_->outputIsOpen = false;
  }

  bool shortMessage(std::uint32_t packed) override
  {
    std::uint8_t bytes[3];
    const auto message = unpackMidi(packed, bytes);
    return !message.empty() && cable_->carry(message, stamp());
  }
  bool longMessage(MidiBuffer& buffer) override
  {
    if (!cable_->carry({buffer.data, std::min(buffer.recorded, buffer.capacity)}, stamp()))
      return false;
    {
      const std::lock_guard guard(shared_->mutex);
      if (shared_->holds) {
        shared_->held.push_back({&handler_, &buffer});
        return true;
      }
    }
    handler_.done(buffer);
    return true;
  }

private:
  std::optional<std::uint32_t> stamp() const
  {
    const std::lock_guard guard(shared_->mutex);
    return shared_->stamp;
  }

  const std::shared_ptr<Cable> cable_;
  const std::shared_ptr<Shared> shared_;
  IMidiOutputHandler& handler_;
};

bool MidiLoopback::Cable::carry(std::span<const std::uint8_t> bytes,
                                std::optional<std::uint32_t> stamp)
{
  const Inside inside(lock);
  if (plugged && input != nullptr)
    input->take(bytes, stamp);
  return plugged;
}

/// Those of one handler, or all.
std::vector<MidiLoopback::Shared::Held> MidiLoopback::Shared::takeHeld(const IMidiOutputHandler* of)
{
  const std::lock_guard guard(mutex);
  const auto rest = std::stable_partition(held.begin(), held.end(), [of](const Held& one) {
    return of != nullptr && one.handler != of;
  });
  std::vector<Held> taken(rest, held.end());
  held.erase(rest, held.end());
  return taken;
}

// ---- the test's side ----------------------------------------------------------------------------

std::shared_ptr<MidiLoopback::Shared> MidiLoopback::makeShared()
{
  return std::make_shared<Shared>();
}

MidiLoopback::~MidiLoopback() = default;

std::shared_ptr<MidiLoopback::Cable> MidiLoopback::find(std::string_view portName)
{
  const std::lock_guard guard(shared_->mutex);
  for (const auto& cable : shared_->cables)
    if (cable->wish == portName)
      return cable;
  return nullptr;
}

void MidiLoopback::plug(const std::string& portName, bool isVirtual)
{
  auto cable = std::make_shared<Cable>();
  cable->wish = portName;
  cable->number = plugged_++;
  cable->isVirtual = isVirtual;
  {
    const std::lock_guard guard(shared_->mutex);
    shared_->cables.push_back(std::move(cable));
  }
  notice_.changed();
}

void MidiLoopback::unplug(const std::string& portName)
{
  const auto cable = find(portName);
  if (!cable)
    return;
  {
    const Inside inside(cable->lock);
    cable->plugged = false;
  }
  {
    const std::lock_guard guard(shared_->mutex);
    std::erase(shared_->cables, cable);
  }
  notice_.changed();
}

void MidiLoopback::cut(const std::string& portName)
{
  if (const auto cable = find(portName)) {
    const Inside inside(cable->lock);
    if (cable->input != nullptr)
      cable->input->cut();
  }
  notice_.changed();
}

bool MidiLoopback::play(std::string_view portName, std::span<const std::uint8_t> bytes)
{
  const auto cable = find(portName);
  std::optional<std::uint32_t> stamp;
  {
    const std::lock_guard guard(shared_->mutex);
    stamp = shared_->stamp;
  }
  return cable && cable->carry(bytes, stamp);
}

void MidiLoopback::setStamp(std::optional<std::uint32_t> milliseconds)
{
  const std::lock_guard guard(shared_->mutex);
  shared_->stamp = milliseconds;
}

void MidiLoopback::refuseOpening(bool refuses)
{
  shared_->refuses = refuses;
}

void MidiLoopback::holdDone(bool holds)
{
  {
    const std::lock_guard guard(shared_->mutex);
    shared_->holds = holds;
  }
  if (!holds)
    for (const auto& held : shared_->takeHeld(nullptr))
      held.handler->done(*held.buffer);
}

std::size_t MidiLoopback::heldCount()
{
  const std::lock_guard guard(shared_->mutex);
  return shared_->held.size();
}

// ---- MidiSystem ---------------------------------------------------------------------------------

void MidiLoopback::setChangeHandler(std::function<void()> handler)
{
  notice_.setHandler(std::move(handler));
}

bool MidiLoopback::rescan()
{
  notice_.look();
  {
    const std::lock_guard guard(shared_->mutex);
    listed_ = shared_->cables;
  }
  std::vector<MidiPortNamer::Port> ports;
  for (const auto& cable : listed_)
    ports.push_back({std::to_string(cable->number), midiPortName("", cable->wish)});
  const auto names = namer_.name(ports);
  std::vector<MidiPortInfo> list;
  for (std::size_t i = 0; i < names.size(); ++i)
    list.push_back({names[i], listed_[i]->isVirtual, listed_[i]->number});
  return replacePorts(list, list);
}

std::shared_ptr<MidiLoopback::Cable> MidiLoopback::listed(std::size_t index)
{
  if (index >= listed_.size() || shared_->refuses)
    return nullptr;
  return listed_[index];
}

std::unique_ptr<MidiInputPort> MidiLoopback::openInput(std::size_t index,
                                                       IMidiInputHandler& handler)
{
  const auto cable = listed(index);
  if (!cable)
    return nullptr;
  const Inside inside(cable->lock);
  if (!cable->plugged || cable->input != nullptr)
    return nullptr;
  return std::make_unique<Input>(cable, handler);
}

std::unique_ptr<MidiOutputPort> MidiLoopback::openOutput(std::size_t index,
                                                         IMidiOutputHandler& handler)
{
  const auto cable = listed(index);
  if (!cable)
    return nullptr;
  const Inside inside(cable->lock);
  if (!cable->plugged || cable->outputIsOpen)
    return nullptr;
  return std::make_unique<Output>(cable, shared_, handler);
}

} // namespace orbi::platform
