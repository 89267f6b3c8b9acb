#include "audio/device.h"

#include "platform/fault_guard.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

namespace orbi {

ORBI_REALTIME_DATA LoomDevice* LoomDevice::instance_ = nullptr;

LoomDevice::LoomDevice(LoomDeviceListener* listener, std::unique_ptr<LoomDriverList> drivers,
                       Open open)
    : listener_(listener), drivers_(std::move(drivers)), kernels_(audioKernels())
{
  instance_ = this;
  for (LoomChannelTable* table : {&inputs_, &outputs_})
    for (size_t slot = 0; slot < table->size(); ++slot)
      (*table)[slot].channelNumber = static_cast<int32_t>(slot);
  outputs_[0].active = outputs_[1].active = true;
  if (open == Open::defaultDriver)
    selectDriver(std::max(findDriver(defaultDriverName), 0));
}

LoomDevice::~LoomDevice()
{
  close();
  drivers_.reset();
  instance_ = nullptr;
}

// ---- drivers ----

bool LoomDevice::driverName(char (&out)[LoomDriverList::nameLimit], int32_t index) const
{
  int32_t wanted = index < 0 ? selectedIndex() : index;
  out[0] = 0;
  return wanted >= 0 && wanted < maxNamedDrivers &&
         drivers_->name(wanted, out, LoomDriverList::nameLimit) == 0;
}

int32_t LoomDevice::findDriver(const char* name) const
{
  char names[maxNamedDrivers][LoomDriverList::nameLimit];
  int32_t count = drivers_->names(names, maxNamedDrivers);
  for (int32_t i = 0; i < count; ++i)
    if (std::strcmp(names[i], name) == 0)
      return i;
  return -1;
}

bool LoomDevice::selectDriver(int32_t index)
{
  char wanted[LoomDriverList::nameLimit];
  char former[LoomDriverList::nameLimit];
  if (index < 0 || !driverName(wanted, index))
    return false;
  bool hadDriver = driverName(former);
  if (hadDriver && std::strcmp(former, wanted) == 0)
    return true;
  bool wasRunning = running_;
  close();
  std::string failure;
  bool opens = selectAny(wanted, hadDriver ? former : nullptr, failure) && open();
  if (!failure.empty()) { // another driver than the wanted one is no reason to forget why
    std::memset(info_.errorMessage, 0, sizeof info_.errorMessage);
    failure.copy(info_.errorMessage, sizeof info_.errorMessage - 1);
  }
  if (!opens)
    return false;
  return wasRunning ? start() : true;
}

/// The wanted driver, else the former one, else the first of the list that can be made.
bool LoomDevice::selectAny(const char* wanted, const char* former, std::string& failure)
{
  if (drivers_->selectByName(wanted))
    return true;
  failure = drivers_->error();
  if (former && drivers_->selectByName(former))
    return true;
  char name[LoomDriverList::nameLimit];
  for (int32_t i = 0; driverName(name, i); ++i)
    if (drivers_->selectByName(name))
      return true;
  return false;
}

bool LoomDevice::showControlPanel()
{
  return loom::controlPanel() == 0;
}

bool LoomDevice::open()
{
  if (opened_)
    return true;
  info_ = {};
  if (hung_ || loom::loadDriver(info_) != 0)
    return false;
  if (!readChannelCounts() || !readBufferSize()) {
    inputCount_ = outputCount_ = 0;
    loom::unloadDriver(*drivers_);
    return false;
  }
  readSampleRate();
  if (listener_)
    listener_->formatChanged(blockFrames_, sampleRate());
  usesOutputReady_ = loom::knowsOutputReady();
  return opened_ = true;
}

/// A driver's word is not believed further than the tables go.
bool LoomDevice::readChannelCounts()
{
  int32_t inputs = 0;
  int32_t outputs = 0;
  bool known = loom::getChannels(&inputs, &outputs) == 0;
  if (!known)
    keepErrorMessage();
  inputCount_ = std::clamp(inputs, 0, static_cast<int32_t>(loomMaxChannels));
  outputCount_ = std::clamp(outputs, 0, static_cast<int32_t>(loomMaxChannels));
  return known;
}

bool LoomDevice::readBufferSize()
{
  constexpr int32_t mostFrames = 1 << 20;
  int32_t minimum = 0;
  int32_t maximum = 0;
  int32_t preferred = 0;
  int32_t granularity = 0;
  if (loom::getBufferSize(&minimum, &maximum, &preferred, &granularity) != 0) {
    keepErrorMessage();
    return false;
  }
  if (preferred <= 0 || preferred > mostFrames) {
    std::snprintf(info_.errorMessage, sizeof info_.errorMessage,
                  "blocks of %d frames are not possible", preferred);
    return false;
  }
  blockFrames_ = preferred;
  return true;
}

void LoomDevice::readSampleRate()
{
  constexpr double usual = 44100.0;
  constexpr double highest = 1e7; // above, nobody could count in seconds
  double rate = 0.0;
  loom::getSampleRate(&rate);
  if (rate == 0.0) {
    loom::setSampleRate(usual);
    loom::getSampleRate(&rate);
  }
  sampleRate_.store(rate > 0.0 && rate < highest ? rate : usual, std::memory_order_relaxed);
}

void LoomDevice::close()
{
  stop();
  if (opened_)
    loom::unloadDriver(*drivers_);
  opened_ = false;
  inputCount_ = outputCount_ = blockFrames_ = 0;
  resetRequested_.store(false, std::memory_order_relaxed);
}

// ---- channels ----

bool LoomDevice::outputName(char (&out)[loomNameBytes], int32_t index) const
{
  out[0] = 0;
  if (index < 0 || index >= outputCount_)
    return false;
  LoomChannelInfo info{};
  info.channel = index;
  bool known = loom::getChannelInfo(&info) == 0;
  info.name[loomNameBytes - 1] = 0;
  std::strcpy(out, info.name);
  return known;
}

bool LoomDevice::setOutputActive(int32_t index, bool on)
{
  int32_t pair = index & ~1;
  if (!opened_ || pair < 0 || pair >= outputCount_ || outputs_[size_t(pair)].active == on)
    return true;
  bool wasRunning = running_;
  if (wasRunning)
    stop();
  // The second of the pair may lie past the last output; it is then never asked for.
  outputs_[size_t(pair)].active = outputs_[size_t(pair) + 1].active = on;
  return wasRunning ? start() : true;
}

bool LoomDevice::isOutputActive(int32_t index) const
{
  return index >= 0 && index < loomMaxChannels && outputs_[size_t(index)].active;
}

bool LoomDevice::createBuffers()
{
  if (buffersCreated_)
    return true;
  std::vector<LoomBufferInfo> infos;
  infos.reserve(2 * loomMaxChannels);
  enterChannels(inputs_, inputCount_, 1, infos);
  enterChannels(outputs_, outputCount_, 0, infos);
  auto count = static_cast<int32_t>(infos.size());
  if (loom::createBuffers(infos.data(), count, blockFrames_, &callbacks_) != 0) {
    keepErrorMessage();
    return false;
  }
  buffersCreated_ = true;
  const LoomBufferInfo* next = infos.data();
  takeBuffers(inputs_, inputCount_, 1, next);
  takeBuffers(outputs_, outputCount_, 0, next);
  return true;
}

void LoomDevice::enterChannels(const LoomChannelTable& table, int32_t count, int32_t isInput,
                               std::vector<LoomBufferInfo>& infos) const
{
  for (int32_t slot = 0; slot < count; ++slot)
    if (table[size_t(slot)].active)
      infos.push_back({isInput, table[size_t(slot)].channelNumber, {nullptr, nullptr}});
}

void LoomDevice::takeBuffers(LoomChannelTable& table, int32_t count, int32_t isInput,
                             const LoomBufferInfo*& next)
{
  for (int32_t slot = 0; slot < count; ++slot) {
    LoomChannel& channel = table[size_t(slot)];
    if (!channel.active)
      continue;
    channel.driverBuffer[0] = next->buffers[0];
    channel.driverBuffer[1] = next->buffers[1];
    ++next;
    LoomChannelInfo info{};
    info.channel = channel.channelNumber;
    info.isInput = isInput;
    loom::getChannelInfo(&info);
    channel.setType(info.type, kernels_);
    channel.makeFloatBuffers(blockFrames_);
  }
}

void LoomDevice::freeBuffers()
{
  for (LoomChannelTable* table : {&inputs_, &outputs_})
    for (LoomChannel& channel : *table) {
      // A listener that didn't come back may still write there.
      if (hung_ && channel.own)
        keptBuffers_.push_back(std::move(channel.own));
      channel.own.reset();
      channel.floatBuffer[0] = channel.floatBuffer[1] = nullptr;
      channel.driverBuffer[0] = channel.driverBuffer[1] = nullptr;
      channel.convert = nullptr;
    }
}

/// Whether the driver's thread has left its last block. A driver that gave up waiting for it gets
/// another moment.
bool LoomDevice::waitForDirectBlock() const
{
  for (uint32_t waited = 0; filling_.load(std::memory_order_acquire); ++waited) {
    if (waited >= stopMilliseconds)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// Its buffers and code are in use yet: nothing of this driver is called or freed any more.
void LoomDevice::abandonDriver()
{
  hung_ = true;
  drivers_->abandonSelected();
  loom::setCurrent(nullptr);
}

// ---- running ----

bool LoomDevice::start()
{
  if (!opened_ || !createBuffers())
    return false;
  if (listener_)
    listener_->started();
  // A stop may have met the worker at work, which then doesn't clear its mark any more.
  if (!isAlive())
    workerBusy_.store(false, std::memory_order_relaxed);
  RealtimeWorker::start();
  acceptsBlocks_.store(true, std::memory_order_release);
  if (!running_)
    running_ = loom::start() == 0;
  stopFailed_ = false;
  if (!running_)
    keepErrorMessage();
  return running_;
}

void LoomDevice::keepErrorMessage()
{
  loom::getErrorMessage(info_.errorMessage);
}

void LoomDevice::stop()
{
  const bool hasFailed = running_ && loom::stop() != 0;
  if (hasFailed) {
    stopFailed_ = true;
    keepErrorMessage();
  }
  running_ = false;
  acceptsBlocks_.store(false, std::memory_order_release);
  RealtimeWorker::stop();
  if (!hung_ && (wasAbandoned() || !waitForDirectBlock()))
    abandonDriver();
  // A driver that didn't stop tells here whether it has done so in the meantime.
  if (buffersCreated_ && loom::disposeBuffers() == loomBadMode && hasFailed)
    abandonDriver();
  buffersCreated_ = false;
  freeBuffers();
  if (listener_)
    listener_->stopped();
}

void LoomDevice::checkReset()
{
  if (resetRequested_.exchange(false, std::memory_order_relaxed))
    reset();
}

bool LoomDevice::reset()
{
  bool wasRunning = running_;
  int32_t index = selectedIndex();
  close();
  bool selected = selectDriver(index);
  if (listener_)
    listener_->driverReset(!selected);
  if (!selected || !open())
    return false;
  return wasRunning ? start() : true;
}

// ---- the driver's thread and the worker ----

const LoomCallbacks LoomDevice::callbacks_ = {&LoomDevice::bufferSwitch, &LoomDevice::rateChanged,
                                              &LoomDevice::driverMessage,
                                              &LoomDevice::bufferSwitchTimeInfo};

namespace {

double wide(const LoomCounter& counter)
{
  return counter.high * 4294967296.0 + counter.low;
}

} // namespace

void LoomDevice::bufferSwitch(int32_t half, int32_t direct)
{
  LoomDevice* device = instance_;
  if (!device)
    return;
  LoomCounter position{0, 0};
  LoomCounter time{0, 0};
  if (loom::getSamplePosition(&position, &time) != 0)
    position = time = {0, 0};
  device->samplePosition_.store(wide(position), std::memory_order_relaxed);
  device->timeStamp_.store(wide(time), std::memory_order_relaxed);
  device->switchBuffers(half, direct);
}

LoomTimeRecord* LoomDevice::bufferSwitchTimeInfo(LoomTimeRecord* time, int32_t half, int32_t direct)
{
  LoomDevice* device = instance_;
  if (!device || !time)
    return time;
  device->samplePosition_.store(wide(time->samplePosition), std::memory_order_relaxed);
  device->timeStamp_.store(wide(time->timeStamp), std::memory_order_relaxed);
  device->switchBuffers(half, direct);
  std::memcpy(&device->audio_.lastTime, time, loomTimeRecordBytes);
  return &device->audio_.lastTime;
}

void LoomDevice::switchBuffers(int32_t half, int32_t direct)
{
  int32_t depth = switchDepth_.load(std::memory_order_relaxed) + 1;
  switchDepth_.store(depth, std::memory_order_relaxed);
  if (depth == 1 && acceptsBlocks_.load(std::memory_order_acquire)) {
    activeHalf_.store(half & 1, std::memory_order_relaxed);
    std::fill(std::begin(audio_.touched), std::end(audio_.touched), false);
    // Acquires what the worker did. A driver that changes between the two roads must not send two
    // threads into the listener.
    if (workerBusy_.load(std::memory_order_acquire)) {
      lostBlocks_.fetch_add(1, std::memory_order_relaxed);
    } else if (direct == 1) {
      filling_.store(true, std::memory_order_relaxed);
      fillBlock();
      filling_.store(false, std::memory_order_release);
    } else {
      workerBusy_.store(true, std::memory_order_relaxed);
      signalGo();
    }
  }
  switchDepth_.store(switchDepth_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
}

void LoomDevice::fillBlock()
{
  if (meter_)
    meter_->blockBegins();
  if (listener_)
    listener_->process();
  if (acceptsBlocks_.load(std::memory_order_acquire))
    finishBlock(); // else the stop didn't wait for this block and took everything away
}

void LoomDevice::finishBlock()
{
  convert();
  if (usesOutputReady_)
    loom::outputReady();
  if (meter_)
    meter_->blockEnds();
}

void LoomDevice::convert()
{
  auto half = static_cast<size_t>(activeHalf_.load(std::memory_order_relaxed));
  for (int32_t slot = 0; slot < outputCount_; ++slot) {
    LoomChannel& channel = outputs_[size_t(slot)];
    if (!channel.active || !channel.convert || !channel.driverBuffer[half])
      continue;
    channel.convert(channel.floatBuffer[half], channel.driverBuffer[half], blockFrames_,
                    channel.shift);
  }
}

void LoomDevice::run()
{
  platform::prepareFaultGuard();
  std::shared_ptr<const std::atomic<bool>> alive = aliveFlag();
  while (*alive) {
    if (!waitGo())
      break;
    workerBusy_.store(true, std::memory_order_relaxed);
    if (meter_)
      meter_->blockBegins();
    if (listener_)
      listener_->process();
    if (!*alive)
      return; // the stop didn't wait for this block, and took everything away
    finishBlock();
    workerBusy_.store(false, std::memory_order_release);
  }
  signalDone();
}

void LoomDevice::rateChanged(double rate)
{
  if (instance_ && std::isfinite(rate))
    instance_->sampleRate_.store(rate, std::memory_order_relaxed);
}

int32_t LoomDevice::driverMessage(int32_t selector, int32_t value, ...)
{
  switch (selector) {
  case loomSelectorSupported:
    return value == loomEngineVersion || value == loomResetRequest || value == loomSupportsTimeInfo;
  case loomEngineVersion:
    return 2;
  case loomResetRequest:
    if (!instance_)
      return 1;
    instance_->resetRequested_.store(true, std::memory_order_relaxed);
    if (instance_->wakeUp_)
      instance_->wakeUp_();
    return 1;
  case loomSupportsTimeInfo:
    return 1;
  default:
    return 0;
  }
}

} // namespace orbi
