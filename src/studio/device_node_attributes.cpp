#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/stream.h"
#include "studio/device_node.h"

#include <algorithm>

namespace orbi {

namespace {

constexpr uint32_t keyCount = 8;
constexpr const char* oldNameKey = "Name";
constexpr const char* presetKey = "Selected Preset";

/// Keys that all nodes have in common.
const struct {
  Ref<CmString> displayName = make<CmString>("DeviceNode Name");
  Ref<CmString> nodeClass = make<CmString>("ClassName");
  Ref<CmString> flags = make<CmString>("NodeFlags");
} keys;

/// Forms of a node on a stream. The oldest has the byte and nothing else for it to count.
enum StreamForm : uint8_t { oldestForm = 0, formWithObject = 1, currentForm = 2 };

int32_t clamped(int64_t number)
{
  return static_cast<int32_t>(std::clamp(number, int64_t{INT32_MIN}, int64_t{INT32_MAX}));
}

/// Reads an object and lets it go; false when its class isn't known. The object may be a node that
/// has such an object before it.
bool skipObject(FStream& stream)
{
  constexpr int deepestObject = 64;
  thread_local int depth = 0;
  CmString name;
  if (depth >= deepestObject || !name.read(stream))
    return false;
  if (name.isEmpty())
    return true;
  const auto object = createAs<CmObject>(name.text());
  ++depth;
  const bool isRead = object && object->read(stream);
  --depth;
  return isRead;
}

/// The byte that tells of a preset, which the oldest form may lack.
bool readPresetMark(FStream& stream, uint8_t& mark)
{
  uint8_t form = 0;
  if (!stream.readUint8(form) || form > currentForm)
    return false;
  if (form == formWithObject && !skipObject(stream))
    return false;
  if (!stream.readUint8(mark))
    return false;
  if (form != oldestForm || mark <= 1)
    return true;
  stream.seek(-1, SeekMode::current); // it belongs to what follows
  return false;
}

} // namespace

// Preset choice

PPresetChoiceValue* PDeviceNode::getPresetChoice()
{
  if (!presetChoice_)
    choosePreset(0);
  return presetChoice_.get();
}

/// False without a bank.
bool PDeviceNode::choosePreset(int32_t number)
{
  PPresetBank* bank = getPresetBank(0);
  if (!bank)
    return false;
  if (presetChoice_)
    presetChoice_->removeDependent(this);
  presetChoice_ = make<PPresetChoiceValue>(this, bank, number);
  presetChoice_->addDependent(this);
  return true;
}

// Attributes

bool PDeviceNode::storeAttributes(FAttributes& attributes) const
{
  attributes.reserve(keyCount);
  attributes.require(keys.displayName).setText(displayName_.string().view());
  attributes.require(keys.nodeClass).setText(nodeClass_.view());
  if (!FNode::storeAttributes(attributes))
    return false;
  if (presetChoice_)
    attributes.setInt(presetKey, presetChoice_->getValue());
  attributes.require(keys.flags).setInt(nodeFlags_);
  return storeClassIDs(attributes);
}

bool PDeviceNode::loadAttributes(const FAttributes& attributes)
{
  int64_t preset = 0;
  if (attributes.getInt(presetKey, preset))
    choosePreset(clamped(preset));
  const bool isNamed = loadName(attributes);
  if (const char* nodeClass = attributes.getString(keys.nodeClass->text()))
    nodeClass_.set(nodeClass);
  bool complete = FNode::loadAttributes(attributes) && isNamed;
  if (getName().isEmpty())
    setName(displayName_.string().text());
  nodeFlags_ = static_cast<uint32_t>(attributes.getInt(keys.flags->text()));
  return loadClassIDs(attributes) && complete;
}

bool PDeviceNode::loadName(const FAttributes& attributes)
{
  const char* name = attributes.getString(keys.displayName->text());
  if (!name)
    name = attributes.getString(oldNameKey);
  if (name)
    setDisplayName(name);
  return name != nullptr;
}

// Streams

bool PDeviceNode::write(FStream& stream) const
{
  if (!FNode::write(stream) || !displayName_.string().write(stream) ||
      !stream.writeUint8(currentForm) || !stream.writeUint8(presetChoice_ ? 1 : 0))
    return false;
  return !presetChoice_ || stream.writeInt32(presetChoice_->getValue());
}

bool PDeviceNode::read(FStream& stream)
{
  CmString name;
  if (!FNode::read(stream) || !name.read(stream))
    return false;
  setDisplayName(name.text());
  uint8_t hasPreset = 0;
  if (!readPresetMark(stream, hasPreset))
    return false;
  int32_t preset = 0;
  return hasPreset != 1 || (stream.readInt32(preset) && choosePreset(preset));
}

} // namespace orbi
