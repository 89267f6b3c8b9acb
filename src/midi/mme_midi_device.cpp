#include "midi/mme_midi_device.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "midi/port_uids.h"
#include "persist/default_pool.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orbi {

CM_REGISTER_ABSTRACT(PMmeMidiDevice); // needs a family of ports

namespace {

constexpr const char* timestampSetting = "Use System Timestamp";
constexpr std::string_view hiddenPortName = "Time Base";
constexpr uint32_t passMilliseconds = 2; ///< the grain of queued output
constexpr uint32_t stopMilliseconds = 500;
constexpr double millisecondsPerSecond = 1000.0;

FDefaults* settingsOf(const PDeviceNode& device)
{
  FDefaultPool* pool = FDefaultPool::instance();
  return pool ? pool->getGroup(device.getDisplayName().text()) : nullptr;
}

const char* kindOf(const platform::MidiPortInfo& port)
{
  return port.isVirtual ? virtualPortKind : systemPortKind;
}

} // namespace

/// The thread that pumps all out sockets. Rests while none has anything to do.
class PMmeMidiDevice::Scheduler {
public:
  /// The former ones are left alone when this returns.
  void setSockets(OutSockets sockets)
  {
    FGuard guard(socketsLock_);
    sockets_.swap(sockets);
  }

  static bool start(const std::shared_ptr<Scheduler>& scheduler, platform::ThreadPriority priority)
  {
    scheduler->hasEnded_ = false;
    scheduler->running_.store(true, std::memory_order_relaxed);
    scheduler->nextDue_.store(PMidiOutSocket::nothingDue, std::memory_order_relaxed);
    scheduler->thread_ = platform::ThreadHandle::start(
        "MIDI scheduler", [scheduler] { scheduler->run(); }, priority);
    return static_cast<bool>(scheduler->thread_);
  }

  void stop()
  {
    if (!running_.exchange(false, std::memory_order_relaxed))
      return;
    wake_.set();
    hasEnded_ = thread_.join(stopMilliseconds);
    thread_.abandon(); // one that didn't come shares this object
  }

  /// Main thread. False: its thread was late and may still be at work.
  bool hasEnded() const { return hasEnded_; }

  void wake(double due)
  {
    if (due < nextDue_.load(std::memory_order_seq_cst)) // see mayRest
      wake_.set();
  }

  void setPriority(platform::ThreadPriority priority)
  {
    if (const platform::ThreadId thread = thread_.id())
      platform::setThreadPriority(thread, priority);
  }

private:
  void run()
  {
    while (running_.load(std::memory_order_relaxed)) {
      if (hasWaiting() || !mayRest())
        wake_.wait(passMilliseconds);
      else
        wake_.wait();
      nextDue_.store(pumpAll(), std::memory_order_relaxed);
    }
  }

  /// From now on every event wakes. One that came before and wasn't seen is seen now.
  bool mayRest()
  {
    nextDue_.store(std::numeric_limits<double>::infinity(),
                   std::memory_order_seq_cst); // as the counts
    return !hasWaiting();
  }

  bool hasWaiting()
  {
    FGuard guard(socketsLock_);
    return std::any_of(sockets_.begin(), sockets_.end(),
                       [](const auto& socket) { return socket->hasWaiting(); });
  }

  double pumpAll()
  {
    const double now = platform::MidiSystem::milliseconds() / millisecondsPerSecond;
    double due = PMidiOutSocket::nothingDue;
    FGuard guard(socketsLock_);
    for (const auto& socket : sockets_)
      due = std::min(due, std::trunc(socket->pump(now))); // whole seconds: rather wakes too early
    return due;
  }

  FSignal wake_{"scheduleWake"};
  std::atomic<bool> running_{false};
  std::atomic<double> nextDue_{PMidiOutSocket::nothingDue};
  FLock socketsLock_{"MIDI scheduler"};
  OutSockets sockets_;
  platform::ThreadHandle thread_; ///< the main thread's
  bool hasEnded_ = true;          ///< the main thread's
};

/// A socket that brings MIDI in is an output of the device.
template <class Socket>
constexpr bool bringsIn = std::is_same_v<Socket, PMmeMidiInSocket>;

template <class Socket>
int32_t PMmeMidiDevice::socketCount() const
{
  if constexpr (bringsIn<Socket>)
    return countOutputs();
  else
    return countInputs();
}

template <class Socket>
Socket* PMmeMidiDevice::socketAt(int32_t index) const
{
  if constexpr (bringsIn<Socket>)
    return static_cast<Socket*>(outputAt(index));
  else
    return static_cast<Socket*>(inputAt(index));
}

PMmeMidiDevice::PMmeMidiDevice(std::unique_ptr<platform::MidiSystem> system, Scan scan)
    : CmClass(system->name()), system_(std::move(system))
{
  addScheduler();
  if (scan == Scan::now)
    rescan();
  FDefaults* settings = settingsOf(*this);
  useSystemTimestamp().setValue(settings ? static_cast<int32_t>(settings->getInt(timestampSetting))
                                         : 0);
  stampsByArrival_.store(useSystemTimestamp().getValue() != 0, std::memory_order_relaxed);
  useSystemTimestamp().addDependent(this);
  useSystemTimestamp().setTarget(this, 0);
}

PMmeMidiDevice::~PMmeMidiDevice()
{
  retain(); // who hears of the ports' end may hold the device for a moment
  useSystemTimestamp().removeDependent(this);
  useSystemTimestamp().setTarget(nullptr, 0);
  if (isActivated_)
    PMmeMidiDevice::deactivate();
  scheduler()->setSockets({});
  while (socketCount<PMmeMidiInSocket>() > 0 && removeOutput(socketAt<PMmeMidiInSocket>(0))) {}
  while (socketCount<PMmeMidiOutSocket>() > 0 && removeInput(socketAt<PMmeMidiOutSocket>(0))) {}
}

void PMmeMidiDevice::update(CmObject* subject, int32_t code)
{
  if (subject != &useSystemTimestamp()) {
    CmClass::update(subject, code);
    return;
  }
  const int32_t value = useSystemTimestamp().getValue();
  stampsByArrival_.store(value != 0, std::memory_order_relaxed);
  if (FDefaults* settings = settingsOf(*this))
    settings->setInt(timestampSetting, value);
}

// Ports

bool PMmeMidiDevice::rescan()
{
  if (!system_->rescan()) {
    reopenLost<PMmeMidiInSocket>();
    reopenLost<PMmeMidiOutSocket>();
    return false;
  }
  bool hasChanged = dropMissing<PMmeMidiInSocket>(system_->inputs());
  hasChanged |= dropMissing<PMmeMidiOutSocket>(system_->outputs());
  hasChanged |= addNew<PMmeMidiInSocket>(system_->inputs());
  hasChanged |= addNew<PMmeMidiOutSocket>(system_->outputs());
  if (isActivated_)
    startScheduler(); // for the first out socket
  return hasChanged;
}

template <class Socket>
void PMmeMidiDevice::reopenLost()
{
  for (int32_t i = 0; i < socketCount<Socket>(); ++i)
    if (Socket* socket = socketAt<Socket>(i); socket->isLost())
      socket->reopen();
}

/// Those that stay learn their place in the new list, and one that is back or failed is opened
/// anew.
template <class Socket>
bool PMmeMidiDevice::dropMissing(std::span<const platform::MidiPortInfo> ports)
{
  bool hasDropped = false;
  for (int32_t i = socketCount<Socket>() - 1; i >= 0; --i) {
    Ref<Socket> socket = Ref<Socket>::share(socketAt<Socket>(i));
    const auto port = std::find_if(ports.begin(), ports.end(), [&](const auto& candidate) {
      return socket->getName() == candidate.name && socket->isSubtype(kindOf(candidate));
    });
    if (port != ports.end()) {
      const bool wasAway = socket->follow({static_cast<size_t>(port - ports.begin()), *port});
      if ((wasAway && socket->isActivated()) || socket->isLost())
        socket->reopen();
      socket->retry();
      continue;
    }
    hasDropped = true;
    if constexpr (bringsIn<Socket>) {
      removeOutput(socket.get());
    } else {
      removeInput(socket.get());
      publishOutSockets();
    }
    socket->deactivate();
  }
  return hasDropped;
}

template <class Socket>
bool PMmeMidiDevice::addNew(std::span<const platform::MidiPortInfo> ports)
{
  bool hasAdded = false;
  PPortUIDs uids(settingsOf(*this));
  for (size_t index = 0; index < ports.size(); ++index) {
    const platform::MidiPortInfo& port = ports[index];
    bool isThere = false;
    for (int32_t i = 0; i < socketCount<Socket>() && !isThere; ++i)
      isThere = socketAt<Socket>(i)->getName() == port.name &&
                socketAt<Socket>(i)->isSubtype(kindOf(port));
    if (isThere)
      continue;
    auto socket = make<Socket>(*this, PMmePort{index, port}, kindOf(port),
                               uids.take((bringsIn<Socket> ? "Input " : "Output ") + port.name));
    socket->setFlag(portIsHidden, port.name == hiddenPortName);
    hasAdded = true;
    if constexpr (bringsIn<Socket>)
      addOutput(socket, Registration::registered);
    else
      addInput(socket, Registration::registered);
    if (isActivated_) {
      takeOldSettings(*socket);
      socket->activate();
    }
  }
  if constexpr (!bringsIn<Socket>)
    publishOutSockets();
  return hasAdded;
}

void PMmeMidiDevice::publishOutSockets()
{
  OutSockets sockets;
  for (int32_t i = 0; i < countInputs(); ++i)
    sockets.push_back(Ref<PMmeMidiOutSocket>::share(socketAt<PMmeMidiOutSocket>(i)));
  scheduler()->setSockets(std::move(sockets));
}

// Running

bool PMmeMidiDevice::activate()
{
  isActivated_ = true;
  const bool complete = CmClass::activate();
  startScheduler();
  return complete;
}

/// Senders may be waking the former one: it stays.
void PMmeMidiDevice::addScheduler()
{
  schedulers_.push_back(std::make_shared<Scheduler>());
  schedulerInUse_.store(schedulers_.back().get(), std::memory_order_release);
}

void PMmeMidiDevice::startScheduler()
{
  if (hasScheduler_ || countInputs() == 0)
    return;
  if (!scheduler()->hasEnded())
    addScheduler();
  publishOutSockets();
  hasScheduler_ = Scheduler::start(scheduler(), threadPriority());
}

bool PMmeMidiDevice::deactivate()
{
  if (hasScheduler_)
    scheduler()->stop();
  hasScheduler_ = false;
  isActivated_ = false;
  return CmClass::deactivate();
}

void PMmeMidiDevice::wakeScheduler(double due)
{
  schedulerInUse_.load(std::memory_order_acquire)->wake(due);
}

int32_t PMmeMidiDevice::handleMessage(FMessage& message)
{
  if (!message.isMessage("UpdatePriority"))
    return CmClass::handleMessage(message);
  const bool isHigh = message.getInt("level") >= 1;
  if (isHigh == highPriority_)
    return 1;
  highPriority_ = isHigh;
  if (hasScheduler_)
    scheduler()->setPriority(threadPriority());
  for (int32_t i = 0; i < socketCount<PMmeMidiInSocket>(); ++i)
    socketAt<PMmeMidiInSocket>(i)->applyPriority();
  return 1;
}

} // namespace orbi
