#include "midi/mme_midi_sockets.h"

#include "foundation/class_registry.h"
#include "midi/mme_midi_device.h"

namespace orbi {

CM_REGISTER_ABSTRACT(PMmeMidiInSocket); // its device makes it

namespace {

constexpr uint8_t activeSensing = 0xFE;
constexpr double millisecondsPerSecond = 1000.0;

} // namespace

PMmeMidiInSocket::PMmeMidiInSocket(PMmeMidiDevice& device, PMmePort port, const char* kind,
                                   FUID uid)
    : CmClass(&device, CmString(port.info.name), kind), device_(device), port_(std::move(port)),
      portUID_(uid)
{
}

PMmeMidiInSocket::~PMmeMidiInSocket()
{
  if (isOpened())
    close();
}

bool PMmeMidiInSocket::open()
{
  handle_ = device_.system().openInput(port_.index, *this);
  if (!handle_)
    return false;
  memory_ = std::make_unique<uint8_t[]>(headerCount * headerBytes);
  for (size_t i = 0; i < headerCount; ++i) {
    headers_[i] = {};
    headers_[i].data = memory_.get() + i * headerBytes;
    headers_[i].capacity = headerBytes;
    handle_->addBuffer(headers_[i]);
  }
  timeBase_.store(platform::MidiSystem::milliseconds(), std::memory_order_relaxed);
  setOpened(true);
  if (!handle_->start()) {
    close();
    return false;
  }
  driverThread_ = handle_->thread();
  applyPriority();
  return true;
}

bool PMmeMidiInSocket::repeats(const PMidiInSocket& other) const
{
  const auto* known = castTo<PMmeMidiInSocket>(&other);
  return known && platform::repeats(port_.info, known->port_.info);
}

void PMmeMidiInSocket::applyPriority()
{
  if (driverThread_ != 0)
    platform::setThreadPriority(driverThread_, device_.threadPriority());
}

void PMmeMidiInSocket::close()
{
  setOpened(false);
  driverThread_ = 0;
  if (handle_ && !isVirtual())
    handle_->reset();
  handle_.reset();
  memory_.reset();
  dropPartialSysex();
}

double PMmeMidiInSocket::secondsAt(uint32_t milliseconds) const
{
  const uint32_t sum = timeBase_.load(std::memory_order_relaxed) + milliseconds; // may wrap
  return sum / millisecondsPerSecond;
}

void PMmeMidiInSocket::shortData(uint32_t packed, uint32_t milliseconds)
{
  const auto status = static_cast<uint8_t>(packed);
  if (status == activeSensing)
    return;
  auto event = make<PMidiEvent>(status, static_cast<uint8_t>(packed >> 8),
                                static_cast<uint8_t>(packed >> 16));
  if (!event)
    return;
  event->flags |= eventFromSystem;
  event->setTime(device_.stampsByArrival()
                     ? platform::MidiSystem::milliseconds() / millisecondsPerSecond
                     : secondsAt(milliseconds));
  sendPlayed(*event);
}

/// A closed socket keeps the header: so they come back.
void PMmeMidiInSocket::arm(platform::MidiBuffer& header)
{
  header.recorded = 0;
  if (isOpened())
    handle_->addBuffer(header);
}

void PMmeMidiInSocket::longData(platform::MidiBuffer& header, uint32_t milliseconds)
{
  if (isOpened() && header.recorded != 0)
    assembleSysex({header.data, header.recorded}, secondsAt(milliseconds));
  arm(header);
}

void PMmeMidiInSocket::longError(platform::MidiBuffer& header, uint32_t)
{
  arm(header);
}

} // namespace orbi
