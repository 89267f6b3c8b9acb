#include "host/bridge.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "foundation/message.h"
#include "persist/default_pool.h"
#include "ui/application.h"

#include <algorithm>
#include <cstdlib>

namespace orbi {

CM_REGISTER_ABSTRACT(OrbiPlayerAudioBridge); // needs its plug-in

OrbiPlayerAudioBridge::OrbiPlayerAudioBridge(OrbPlugin& plugin, OrbiPlayerMidiInput* midiInput,
                                             FDefaultPool* settings)
    : plugin_(plugin), midiInput_(midiInput), settings_(settings), eventList_(makeEventList()),
      routing_(make<PluginRouting>(plugin)), kernels_(audioKernels())
{
  instance_ = this;
  if (UApplication* application = UApplication::instance())
    application->addIdle(this);
}

OrbiPlayerAudioBridge::~OrbiPlayerAudioBridge()
{
  if (UApplication* application = UApplication::instance())
    application->removeIdle(this);
  saveSettings();
  LoomDevice* device = LoomDevice::instance();
  if (device && device->listener() == this)
    device->setListener(nullptr);
  instance_ = nullptr;
}

// ---- events and buffers ----

void OrbiPlayerAudioBridge::EventListFree::operator()(OrbEventList* list) const
{
  for (OrbMidiEventRecord* record : list->events)
    std::free(record);
  std::free(list);
}

// One record for each place, reused for the life of the bridge: the plug-in is handed the same
// pointers with every block.
std::unique_ptr<OrbEventList, OrbiPlayerAudioBridge::EventListFree>
OrbiPlayerAudioBridge::makeEventList()
{
  std::unique_ptr<OrbEventList, EventListFree> list(
      static_cast<OrbEventList*>(std::calloc(1, orbEventListBytes)));
  if (!list)
    return list;
  for (OrbMidiEventRecord*& record : list->events) {
    record = static_cast<OrbMidiEventRecord*>(std::calloc(1, sizeof(OrbMidiEventRecord)));
    if (!record)
      return nullptr;
    record->type = orbEventMidi;
    record->byteSize = orbMidiEventBytes;
  }
  return list;
}

void OrbiPlayerAudioBridge::Buffers::allocate(int32_t channels, int32_t frames)
{
  auto count = static_cast<size_t>(std::max(channels, 0));
  stride = static_cast<size_t>(frames);
  samples.assign(count * static_cast<size_t>(frames), 0.0f);
  pointers.resize(count);
  for (size_t channel = 0; channel < count; ++channel)
    pointers[channel] = own(channel);
}

void OrbiPlayerAudioBridge::clearOutputs(int32_t frames)
{
  for (float* output : outputs_.pointers)
    std::fill_n(output, frames, 0.0f);
}

// ---- the device's listener ----

void OrbiPlayerAudioBridge::formatChanged(int32_t frames, double sampleRate)
{
  if (plugin_.isAbandoned())
    return; // it may come back yet and finds its buffers as they were
  if (frames != blockFrames_) {
    blockFrames_ = frames;
    inputs_.allocate(plugin_.numInputs(), frames);
    outputs_.allocate(plugin_.numOutputs(), frames);
    sumTargets_.assign(outputs_.pointers.size() + 2, nullptr);
    plugin_.setBlockSize(frames);
  }
  if (sampleRate != sampleRate_) {
    sampleRate_ = sampleRate;
    plugin_.setSampleRate(static_cast<float>(sampleRate));
  }
}

void OrbiPlayerAudioBridge::driverReset(bool failed)
{
  if (failed)
    routing_->reset();
  else if (LoomDevice* device = LoomDevice::instance())
    routing_->clamp(device->outputCount() - 1);
  routing_->changed(0);
  applyRouting();
}

void OrbiPlayerAudioBridge::started()
{
  if (midiInput_)
    midiInput_->clearNotes();
  plugin_.resume();
}

void OrbiPlayerAudioBridge::stopped()
{
  if (isInProcess() && !plugin_.isAbandoned()) {
    plugin_.abandon();                             // the device waited for this block and gave up
    hungPlugin_ = Ref<OrbPlugin>::share(&plugin_); // for the block, should it come back
  }
  plugin_.suspend();
  if (midiInput_)
    midiInput_->clearNotes();
}

void OrbiPlayerAudioBridge::process()
{
  inProcess_.store(true, std::memory_order_relaxed);
  LoomDevice* device = LoomDevice::instance();
  OrbPluginHost* host = OrbPluginHost::instance();
  bool runs = !stopRequested_.load(std::memory_order_relaxed) && !plugin_.isAbandoned();
  if (runs && device && plugin_.effect()) {
    int32_t frames = device->blockFrames();
    if (host)
      host->updateTime(device->samplePosition(), device->timeStamp(), -1.0, false);
    handOverEvents();
    aimOutputs(*device);
    runPlugin(frames);
    // After a stop that didn't wait, what follows isn't this block's any more.
    if (!plugin_.isAbandoned())
      deliver(frames);
  }
  inProcess_.store(false, std::memory_order_release); // who sees it finds the block done
}

void OrbiPlayerAudioBridge::handOverEvents()
{
  if (midiInput_ && eventList_ && midiInput_->hasEvents() &&
      midiInput_->fillEventList(*eventList_, orbMaxEvents) > 0)
    plugin_.processEvents(eventList_.get());
}

/// The first output that goes to a device output is rendered right there; what further ones render
/// in buffers of their own is added to it afterwards.
void OrbiPlayerAudioBridge::aimOutputs(LoomDevice& device)
{
  uint64_t taken[loomMaxChannels / 64] = {};
  auto routed = std::min(outputs_.pointers.size(), static_cast<size_t>(routing_->outputCount()));
  for (size_t output = 0; output < routed; ++output) {
    int32_t place = routing_->at(static_cast<int32_t>(output));
    float* target = device.outputBuffer(place);
    outputs_.pointers[output] = outputs_.own(output);
    sumTargets_[output] = target;
    if (!target)
      continue;
    uint64_t mark = uint64_t(1) << (place & 63);
    uint64_t& marks = taken[place >> 6];
    if (!(marks & mark)) {
      outputs_.pointers[output] = target;
      sumTargets_[output] = nullptr;
      marks |= mark;
    }
  }
}

void OrbiPlayerAudioBridge::runPlugin(int32_t frames)
{
  bool sounds = false;
  if (plugin_.canReplace()) {
    sounds = plugin_.processReplacing(inputs_.pointers.data(), outputs_.pointers.data(), frames);
  } else {
    clearOutputs(frames);
    sounds = plugin_.processAccumulating(inputs_.pointers.data(), outputs_.pointers.data(), frames);
  }
  if (!sounds)
    clearOutputs(frames); // it faulted: silence instead of what it left
}

void OrbiPlayerAudioBridge::deliver(int32_t frames)
{
  if (tap_)
    tap_->processed(outputs_.pointers.data(), static_cast<int32_t>(outputs_.pointers.size()),
                    frames);
  const size_t count = outputs_.pointers.size();
  for (size_t output = 0; output < count; ++output) {
    float* target = sumTargets_[output];
    if (!target)
      continue;
    // The next one to the same place: outputs mostly come as pairs, which go to one pair.
    size_t next = output + 1;
    next += sumTargets_[next] != target;
    if (sumTargets_[next] == target) {
      kernels_.addTwice(outputs_.pointers[output], outputs_.pointers[next], target, frames);
      sumTargets_[next] = nullptr; // done
    } else {
      kernels_.addFrames(outputs_.pointers[output], target, frames);
    }
  }
}

// ---- routing ----

void OrbiPlayerAudioBridge::applyRouting()
{
  LoomDevice* device = LoomDevice::instance();
  if (!device)
    return;
  bool wasRunning = device->isRunning();
  if (wasRunning)
    device->stop();
  bool active = false;
  for (int32_t output = 0; output < device->outputCount(); ++output) {
    bool isSecond = output & 1;
    active = routing_->isUsed(output) || (isSecond && active);
    device->setOutputActive(output, active);
  }
  if (wasRunning)
    device->start();
}

void OrbiPlayerAudioBridge::loadRouting()
{
  LoomDevice* device = LoomDevice::instance();
  if (!device)
    return;
  char driver[LoomDriverList::nameLimit];
  routing_->reset();
  if (device->driverName(driver) && driver[0] && settings_)
    routing_->load(*settings_, driver);
  routing_->clamp(device->outputCount() - 1);
  applyRouting();
}

void OrbiPlayerAudioBridge::saveRouting()
{
  LoomDevice* device = LoomDevice::instance();
  char driver[LoomDriverList::nameLimit];
  // What a driver that doesn't open was routed by was never loaded, or was given up.
  if (device && settings_ && device->isOpened() && device->driverName(driver) && driver[0])
    routing_->save(*settings_, driver);
}

void OrbiPlayerAudioBridge::saveSettings()
{
  LoomDevice* device = LoomDevice::instance();
  char driver[LoomDriverList::nameLimit] = {};
  // A start that failed leaves what was stored as it was.
  if (device && settings_ && device->isOpened() && device->driverName(driver) &&
      runDriver_ != driver)
    if (FDefaults* group = settings_->getGroup("OrbiPlayerAudio"))
      group->setString("LOOM Driver", driver);
  saveRouting();
}

// ---- idle ----

int32_t OrbiPlayerAudioBridge::handleMessage(FMessage& message)
{
  if (!message.isMessage("Idle"))
    return 0;
  if (LoomDevice* device = LoomDevice::instance())
    device->checkReset();
  return 1;
}

} // namespace orbi
