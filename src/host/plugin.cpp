#include "host/plugin.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "host/output_arrangement.h"
#include "platform/fault_guard.h"
#include "ui/application.h"

#include <algorithm>
#include <cstring>

namespace orbi {

CM_REGISTER_ABSTRACT(OrbPlugin); // needs its module

namespace {

constexpr const char* entryNames[] = {"ORBPluginMain", "MAIN", "main"};
constexpr float firstSampleRate = 44100.0f;
constexpr int32_t firstBlockFrames = 1024;
constexpr size_t textBytes = 128;

/// Buffer for a text that a plug-in writes, with room for those that write past their limit.
struct TextBuffer {
  char text[4 * textBytes] = {};
  std::string cut(size_t bytes) const { return {text, strnlen(text, bytes - 1)}; }
};

/// Buffers are made for as many channels as a plug-in claims, so it isn't believed without end.
bool isCredible(int32_t channels)
{
  return channels >= 0 && channels <= OrbPlugin::maxChannels;
}

std::string trimmed(const std::string& text)
{
  constexpr const char* white = " \t\r\n\v\f";
  size_t first = text.find_first_not_of(white);
  if (first == std::string::npos)
    return {};
  return text.substr(first, text.find_last_not_of(white) - first + 1);
}

std::string nameOf(const std::string& moduleName)
{
  return moduleName.substr(0, std::min(moduleName.rfind('.'), OrbPlugin::nameBytes - 1));
}

} // namespace

OrbPlugin::OrbPlugin(const std::string& moduleName, int32_t moduleIndex)
    : name_(nameOf(moduleName)), moduleIndex_(moduleIndex)
{
  if (UApplication* application = UApplication::instance())
    application->addIdle(this);
}

OrbPlugin::~OrbPlugin()
{
  if (UApplication* application = UApplication::instance())
    application->removeIdle(this);
  if (current_ == this)
    current_ = nullptr;
  if (keepsLibrary_ || hasFaulted() || !platform::guarded([this] { module_.close(); }))
    module_.abandon();
}

template <class Call>
bool OrbPlugin::guard(Call&& call)
{
  if (platform::guarded(call))
    return true;
  keepsLibrary_ = true; // what it left behind may still run
  ++faultCount_;
  return false;
}

bool OrbPlugin::load(const std::filesystem::path& module, OrbHostCallback callback)
{
  std::string error;
  if (!guard([&] { module_ = platform::Module::load(module, error); }) || !module_)
    return false;
  OrbPluginEntry entry = nullptr;
  for (const char* name : entryNames)
    if (!entry)
      entry = module_.function<std::remove_pointer_t<OrbPluginEntry>>(name);
  return enter(entry, callback);
}

bool OrbPlugin::enter(OrbPluginEntry entry, OrbHostCallback callback)
{
  OrbEffect* effect = nullptr;
  bool usable = false;
  auto call = [&] {
    effect = entry(callback);
    usable = effect && effect->dispatcher && isCredible(effect->numInputs) &&
             isCredible(effect->numOutputs);
  };
  if (!entry || !guard(call) || !usable)
    return false;
  effect_ = effect;
  return true;
}

int32_t OrbPlugin::numInputs() const
{
  return effect_ ? std::clamp(effect_->numInputs, 0, maxChannels) : 0;
}

int32_t OrbPlugin::numOutputs() const
{
  return effect_ ? std::clamp(effect_->numOutputs, 0, maxChannels) : 0;
}

int32_t OrbPlugin::numPrograms() const
{
  return effect_ ? std::clamp(effect_->numPrograms, 0, maxPrograms) : 0;
}

int32_t OrbPlugin::numParams() const
{
  return effect_ ? std::clamp(effect_->numParams, 0, maxParams) : 0;
}

bool OrbPlugin::hasCredibleCounts() const
{
  return effect_ && effect_->numPrograms <= maxPrograms && effect_->numParams <= maxParams;
}

bool OrbPlugin::open()
{
  return guard([this] {
    OrbDispatcher call = effect_->dispatcher;
    call(effect_, opOpen, 0, 0, nullptr, 0.0f);
    call(effect_, opSetSampleRate, 0, 0, nullptr, firstSampleRate);
    call(effect_, opSetBlockSize, 0, firstBlockFrames, nullptr, 0.0f);
    char question[] = "receiveOrbMidiEvent";
    receivesMidi.store(call(effect_, opCanDo, 0, 0, question, 0.0f) == 1,
                       std::memory_order_relaxed);
  });
}

void OrbPlugin::close()
{
  dispatch(opClose);
  effect_ = nullptr;
}

void OrbPlugin::abandon()
{
  faulted_.store(true, std::memory_order_relaxed);
  keepsLibrary_ = true;
  abandoned_.store(true, std::memory_order_relaxed);
}

int64_t OrbPlugin::dispatch(int32_t opcode, int32_t index, int64_t value, void* ptr, float opt)
{
  int64_t result = 0;
  if (!effect_ || hasFaulted())
    return 0;
  bool done = guard([&] { result = effect_->dispatcher(effect_, opcode, index, value, ptr, opt); });
  return done ? result : 0;
}

bool OrbPlugin::canDo(const char* text)
{
  std::string question = text;
  return dispatch(opCanDo, 0, 0, question.data()) == 1;
}

std::string OrbPlugin::productString()
{
  TextBuffer buffer;
  return dispatch(opGetProductString, 0, 0, buffer.text) == 1 ? buffer.cut(textBytes)
                                                              : std::string();
}

bool OrbPlugin::editorRect(OrbRect& rect)
{
  const OrbRect* told = nullptr;
  dispatch(opEditorGetRect, 0, 0, &told);
  return told && guard([&] { rect = *told; });
}

void OrbPlugin::setProgram(int32_t program)
{
  if (program >= 0 && program < numPrograms())
    dispatch(opSetProgram, 0, program);
}

void OrbPlugin::setParameter(int32_t index, float value)
{
  if (effect_ && effect_->setParameter && !hasFaulted())
    guard([&] { effect_->setParameter(effect_, index, value); });
}

float OrbPlugin::parameter(int32_t index)
{
  float value = 0.0f;
  if (effect_ && effect_->getParameter && !hasFaulted())
    guard([&] { value = effect_->getParameter(effect_, index); });
  return value;
}

int32_t OrbPlugin::programName(std::string& out)
{
  TextBuffer buffer;
  if (dispatch(opGetProgramName, 0, 0, buffer.text) < 0)
    return -1;
  out = trimmed(buffer.cut(textBytes));
  return static_cast<int32_t>(out.size());
}

bool OrbPlugin::outputProperties(int32_t output, OrbOutputProperties& properties)
{
  union {
    OrbOutputProperties properties;
    char room[4 * sizeof(OrbOutputProperties)];
  } answer = {};
  bool filled = dispatch(opGetOutputProperties, output, 0, &answer.properties) != 0;
  properties = answer.properties;
  properties.label[sizeof properties.label - 1] = 0;
  return filled;
}

std::string OrbPlugin::outputName(int32_t output)
{
  OrbOutputProperties properties;
  if (outputProperties(output, properties) && properties.label[0])
    return properties.label;
  return "Out " + std::to_string(output);
}

bool OrbPlugin::outputIsStereo(int32_t output)
{
  OrbOutputProperties properties;
  return outputProperties(output, properties) && (properties.flags & orbOutputStereo);
}

int32_t OrbPlugin::outputChannelCount(int32_t output)
{
  OrbOutputProperties properties;
  outputProperties(output, properties);
  if (!(properties.flags & orbOutputArrangement))
    return properties.flags & orbOutputStereo ? 2 : 1;
  const OutputArrangement* arrangement = findArrangement(properties.arrangement);
  return arrangement ? arrangement->channels : 1;
}

void OrbPlugin::outputChannelLabel(int32_t output, int32_t channel, std::string& out)
{
  OrbOutputProperties properties;
  outputProperties(output, properties);
  if (!(properties.flags & orbOutputArrangement)) {
    bool stereo = properties.flags & orbOutputStereo;
    out = !stereo ? "M" : channel == 0 ? "L" : "R";
    return;
  }
  const OutputArrangement* arrangement = findArrangement(properties.arrangement);
  if (arrangement && channel >= 0 && channel < arrangement->channels)
    out = arrangement->labels[channel];
}

void OrbPlugin::setSampleRate(float rate)
{
  dispatch(opSetSampleRate, 0, 0, nullptr, rate);
}

void OrbPlugin::setBlockSize(int32_t frames)
{
  dispatch(opSetBlockSize, 0, frames);
}

void OrbPlugin::resume()
{
  if (!suspended_)
    return;
  dispatch(opMainsChanged, 0, 1);
  suspended_ = false;
}

void OrbPlugin::suspend()
{
  if (suspended_)
    return;
  dispatch(opMainsChanged, 0, 0);
  suspended_ = true;
}

namespace {

// What runs under guard

struct EventsCall {
  OrbEffect* effect;
  OrbEventList* events;
};

struct BlockCall {
  OrbEffect* effect;
  decltype(OrbEffect::processReplacing) function;
  float** inputs;
  float** outputs;
  int32_t frames;
};

ORBI_REALTIME void handOverEvents(void* context)
{
  auto& call = *static_cast<EventsCall*>(context);
  call.effect->dispatcher(call.effect, opProcessEvents, 0, 0, call.events, 0.0f);
}

ORBI_REALTIME void renderBlock(void* context)
{
  auto& call = *static_cast<BlockCall*>(context);
  call.function(call.effect, call.inputs, call.outputs, call.frames);
}

} // namespace

/// A plug-in that faults here isn't called any more, neither for audio nor on the main thread: what
/// it locked in its block stays locked, and whoever asks would wait for ever.
bool OrbPlugin::runForAudio(void (*call)(void*), void* context)
{
  if (!hasFaulted() && !platform::runGuarded(call, context))
    faulted_.store(true, std::memory_order_relaxed);
  return !hasFaulted();
}

bool OrbPlugin::processEvents(OrbEventList* events)
{
  EventsCall call{effect_, events};
  return runForAudio(handOverEvents, &call);
}

bool OrbPlugin::processReplacing(float** inputs, float** outputs, int32_t frames)
{
  BlockCall call{effect_, effect_->processReplacing, inputs, outputs, frames};
  return runForAudio(renderBlock, &call);
}

bool OrbPlugin::processAccumulating(float** inputs, float** outputs, int32_t frames)
{
  BlockCall call{effect_, effect_->processAccumulating, inputs, outputs, frames};
  return !call.function || runForAudio(renderBlock, &call);
}

int32_t OrbPlugin::handleMessage(FMessage& message)
{
  if (!message.isMessage("Idle"))
    return 0;
  if (needsIdle.load(std::memory_order_relaxed) && !hasFaulted()) {
    if (UApplication* application = UApplication::instance())
      application->wantBusyIdle();
    dispatch(opIdle);
  }
  return 1;
}

} // namespace orbi
