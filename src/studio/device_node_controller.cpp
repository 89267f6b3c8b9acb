#include "foundation/message.h"
#include "studio/class_id_path.h"
#include "studio/device_node.h"

#include <cstring>

namespace orbi {

namespace {

struct OwnValue {
  std::string_view name;
  UValue* (*get)(PDeviceNode& node);
};

constexpr std::string_view nameOfPreset = "preset";
constexpr std::string_view hasPresetValue = "HasPresetValue";

} // namespace

UValue* PDeviceNode::getValue(const char* name)
{
  static constexpr OwnValue ownValues[] = {
      {"readEnable", [](PDeviceNode& node) { return node.getReadEnableValue(); }},
      {"writeEnable", [](PDeviceNode& node) { return node.getWriteEnableValue(); }},
      {nameOfPreset, [](PDeviceNode& node) -> UValue* { return node.getPresetChoice(); }},
      {"deviceName", [](PDeviceNode& node) -> UValue* { return &node.nameValue(); }},
  };
  if (!name)
    return nullptr;
  for (const OwnValue& value : ownValues)
    if (value.name == name)
      return value.get(*this);
  if (const auto tag = tagInName(name))
    return getParameterValue(*tag);
  if (*name != '[')
    return parameterRequest({PParameterQuestion::valueByKey, 0, name}).value;
  CmString path(name);
  PDeviceNode* node = resolvePath(path);
  // A path that no step could be taken off is no name either.
  const bool isShorter = path.length() < static_cast<int32_t>(std::strlen(name));
  return node && isShorter ? node->getValue(path.text()) : nullptr;
}

bool PDeviceNode::hasValue(const char* name)
{
  if (name && (name == hasPresetValue || name == nameOfPreset))
    return presetChoice_ || getPresetBank(0);
  return getValue(name) != nullptr;
}

int32_t PDeviceNode::handleMessage(FMessage& message)
{
  if (!message.isMessage("Get Value Name"))
    return FNode::handleMessage(message);
  const auto* value = message.getObject<UValue>("Value");
  auto* text = message.getObject<CmString>("String");
  return value && text && getParameterName(value->getTag(), *text) ? 1 : -1;
}

} // namespace orbi
