// The instrument's face to the host: the entry point, the dispatcher and the process functions.
#if SOUNDFONT_HAS_EDITOR
#include "soundfont/editor/editor.h"
#endif
#include "soundfont/default_bank.h"
#include "soundfont/finder.h"
#include "soundfont/instrument.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace soundfont {

namespace {

constexpr int32_t uniqueId = 0x5346506C; // "SFPl"
constexpr int32_t version = 1000;
constexpr size_t programNameBytes = 128;
constexpr size_t productStringBytes = 64;

/// Lets numbers too small to hear count as zero: dying echoes would cost many times the time.
class ZeroTheTiny {
public:
#if defined(__SSE__)
  ZeroTheTiny() : before_(_mm_getcsr())
  {
    _mm_setcsr(before_ | 0x8040);
  }
  ~ZeroTheTiny()
  {
    _mm_setcsr(before_);
  }
#else
  ZeroTheTiny() = default;
#endif
  ZeroTheTiny(const ZeroTheTiny&) = delete;
  ZeroTheTiny& operator=(const ZeroTheTiny&) = delete;

private:
  [[maybe_unused]] unsigned before_ = 0;
};

struct Plugin {
  OrbEffect effect{}; // first: the host's pointer is ours
  Instrument instrument;
#if SOUNDFONT_HAS_EDITOR
  std::unique_ptr<Editor> editor; // from the first question for its rectangle on
#endif
};

Instrument& instrumentOf(OrbEffect* effect)
{
  return reinterpret_cast<Plugin*>(effect)->instrument;
}

int64_t copyText(void* to, size_t bytes, const char* text)
{
  if (!to)
    return 0;
  std::snprintf(static_cast<char*>(to), bytes, "%s", text);
  return 1;
}

int64_t describeOutput(int32_t index, void* ptr)
{
  if (!ptr || index < 0 || index >= static_cast<int32_t>(outputCount))
    return 0;
  auto* properties = static_cast<OrbOutputProperties*>(ptr);
  copyText(properties->label, sizeof properties->label, index < 2 ? "Main" : "Drums");
  properties->flags = index % 2 == 0 ? orbOutputStereo : 0;
  return 1;
}

int64_t getChunk(Instrument& instrument, int32_t index, void* ptr)
{
  if (!ptr)
    return 0;
  auto& chunk = index == 0 ? instrument.makeBankChunk() : instrument.makeProgramChunk();
  *static_cast<void**>(ptr) = chunk.data();
  return static_cast<int64_t>(chunk.size());
}

int64_t setChunk(Instrument& instrument, int32_t index, int64_t bytes, const void* data)
{
  if (!data || bytes <= 0)
    return 0;
  const auto size = static_cast<size_t>(bytes);
  return index == 0 ? instrument.setBankChunk(data, size) : instrument.setProgramChunk(data, size);
}

/// One that can't be read, or isn't whole, counts as none.
int64_t loadDefaultBank(Instrument& instrument)
{
  const std::vector<uint8_t> chunk = readDefaultBank();
  return instrument.setBankChunk(chunk.data(), chunk.size());
}

#if SOUNDFONT_HAS_EDITOR
int64_t answerForEditor(Plugin& plugin, int32_t opcode, int32_t index, int64_t value, void* ptr,
                        float opt)
{
  if (opcode == opEditorGetRect && !plugin.editor)
    plugin.editor = makeEditor(plugin.instrument);
  if (!plugin.editor)
    return 0;
  Editor& editor = *plugin.editor;
  switch (opcode) {
  case opEditorGetRect:
    return ptr && (*static_cast<const OrbRect**>(ptr) = editor.rect());
  case opEditorOpen:
    editor.open(ptr);
    return 1;
  case opEditorClose:
    editor.close();
    return 0;
  case opEditorIdle:
    editor.idle();
    return 0;
  case opEditorKeyDown:
    return editor.keyDown({index, value, static_cast<int>(opt)});
  case opVendorSpecific:
    return value == orbWheel && editor.wheel(opt);
  default:
    return 0;
  }
}
#else
int64_t answerForEditor(Plugin&, int32_t, int32_t, int64_t, void*, float)
{
  return 0;
}
#endif

int64_t answerHost(Plugin& plugin, int32_t index, int64_t question, float opt)
{
  if (index != orbHostTag)
    return 0;
  switch (question) {
  case orbHasDefaultBank:
    return 1;
  case orbSaveDefaultBank:
    return saveDefaultBank(plugin.instrument.makeBankChunk());
  default:
    return answerForEditor(plugin, opVendorSpecific, index, question, nullptr, opt);
  }
}

int64_t answer(OrbEffect* effect, int32_t opcode, int32_t index, int64_t value, void* ptr,
               float opt)
{
  Instrument& instrument = instrumentOf(effect);
  switch (opcode) {
  case opOpen:
    return loadDefaultBank(instrument);
  case opClose:
    delete reinterpret_cast<Plugin*>(effect);
    return 0;
  case opSetProgram:
    instrument.setProgram(value < programCount ? static_cast<int>(value) : -1);
    return 0;
  case opGetProgram:
    return instrument.program();
  case opSetProgramName:
    instrument.setProgramName(index, static_cast<const char*>(ptr));
    return 0;
  case opGetProgramName:
    return copyText(ptr, programNameBytes, instrument.programName(instrument.program()).c_str())
               ? 0
               : -1;
  case opSetSampleRate:
    instrument.setSampleRate(opt);
    return 0;
  case opSetBlockSize:
    return 0; // any number of frames is rendered without preparation
  case opMainsChanged:
    value ? instrument.turnOn() : instrument.turnOff();
    return 0;
  case opGetChunk:
    return getChunk(instrument, index, ptr);
  case opSetChunk:
    return setChunk(instrument, index, value, ptr);
  case opProcessEvents: {
    const ZeroTheTiny zeroTheTiny;
    if (ptr)
      instrument.playEvents(*static_cast<const OrbEventList*>(ptr));
    return 1;
  }
  case opVendorSpecific:
    return answerHost(*reinterpret_cast<Plugin*>(effect), index, value, opt);
  case opGetOutputProperties:
    return describeOutput(index, ptr);
  case opGetProductString:
    return copyText(ptr, productStringBytes, "SoundFont Player");
  case opCanDo:
    return ptr && !std::strcmp(static_cast<const char*>(ptr), "receiveOrbMidiEvent");
  default:
    return answerForEditor(*reinterpret_cast<Plugin*>(effect), opcode, index, value, ptr, opt);
  }
}

int64_t dispatch(OrbEffect* effect, int32_t opcode, int32_t index, int64_t value, void* ptr,
                 float opt)
{
  try {
    return answer(effect, opcode, index, value, ptr, opt);
  } catch (...) { // out of memory; whatever was asked for has not happened
    return 0;
  }
}

void processAccumulating(OrbEffect* effect, float**, float** outputs, int32_t frames)
{
  const ZeroTheTiny zeroTheTiny;
  if (frames > 0)
    instrumentOf(effect).render(outputs, frames);
}

void processReplacing(OrbEffect* effect, float** inputs, float** outputs, int32_t frames)
{
  if (frames <= 0)
    return;
  for (size_t i = 0; i < outputCount; ++i)
    std::memset(outputs[i], 0, static_cast<size_t>(frames) * sizeof(float));
  processAccumulating(effect, inputs, outputs, frames);
}

void setParameter(OrbEffect* effect, int32_t index, float value)
{
  if (index >= 0)
    instrumentOf(effect).setParameter(static_cast<size_t>(index), value);
}

float getParameter(OrbEffect* effect, int32_t index)
{
  return index >= 0 ? instrumentOf(effect).parameter(static_cast<size_t>(index)) : 0.0f;
}

OrbEffect* create()
{
  auto plugin = std::make_unique<Plugin>();
  const std::string font = findSoundFont();
  if (font.empty() || !plugin->instrument.load(font))
    return nullptr;
  OrbEffect& effect = plugin->effect;
  effect.magic = orbMagic;
  effect.dispatcher = dispatch;
  effect.processAccumulating = processAccumulating;
  effect.processReplacing = processReplacing;
  effect.setParameter = setParameter;
  effect.getParameter = getParameter;
  effect.numPrograms = programCount;
  effect.numParams = parameterCount;
  effect.numOutputs = outputCount;
  effect.flags = orbHasReplacing | orbProgramChunks;
  effect.uniqueId = uniqueId;
  effect.version = version;
  return &plugin.release()->effect;
}

} // namespace

} // namespace soundfont

extern "C" ORB_EXPORT OrbEffect* ORBPluginMain(OrbHostCallback host)
{
  try {
    return host ? soundfont::create() : nullptr;
  } catch (...) {
    return nullptr;
  }
}
