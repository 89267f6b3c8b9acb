#include "studio/device_node.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "persist/translator.h"
#include "studio/device.h"
#include "ui/application.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace orbi {

CM_REGISTER_ABSTRACT(PDeviceNode); // each is made by the one who knows what it is for

namespace {

struct Symbol {
  int32_t tag;
  const char* text;
  uint32_t neededFlags;
};

constexpr Symbol symbols[] = {
    {volumeTag, "volume", nodeIsAutomationRoot},
    {panTag, "pan", 0},
    {secondPanTag, "pan", 0},
    {muteTag, "mute", 0},
};

} // namespace

PDeviceNode::PDeviceNode(std::string_view name, const char* displayName)
    : CmClass(name), nodeClass_(name)
{
  displayName_.setString(displayName ? displayName : UTranslator::text(getName().text()));
  readEnable_.setTag(readEnableTag);
  writeEnable_.setTag(writeEnableTag);
  addCommonClassIDs();
}

PDeviceNode::PDeviceNode(const PDeviceNode& other)
    : CmClass(other), displayName_(other.displayName_.string().view()),
      nodeClass_(other.nodeClass_), nodeFlags_(other.nodeFlags_), classIDs_(other.classIDs_)
{
  readEnable_.setTag(readEnableTag);
  writeEnable_.setTag(writeEnableTag);
}

PDeviceNode::~PDeviceNode()
{
  tellGone();
  if (presetChoice_)
    presetChoice_->removeDependent(this);
  presetChoice_ = nullptr;
}

int32_t PDeviceNode::tellApplication(FMessage& message)
{
  UApplication* application = UApplication::instance();
  return application ? application->handleMessage(message) : 0;
}

// Names

UStringValue& PDeviceNode::nameValue()
{
  if (!displayName_.getTarget())
    displayName_.setTarget(this, nodeNameTag);
  return displayName_;
}

void PDeviceNode::setDisplayName(const char* text)
{
  nameValue().setString(UTranslator::text(text ? text : ""));
}

FNode* PDeviceNode::findChild(const char* name) const
{
  if (FNode* child = findChildByName(name))
    return child;
  for (int32_t i = 0; name && i < countChildren(); ++i)
    if (PDeviceNode* child = deviceChildAt(i))
      if (child->getDisplayName().compare(name, TextCompare::ignoreCase) == 0)
        return child;
  return FNode::findChild(name);
}

// Children

PDeviceNode* PDeviceNode::deviceChildAt(int32_t index) const
{
  return castTo<PDeviceNode>(childAt(index));
}

PAutomation* PDeviceNode::nearestAutomation() const
{
  const PDeviceNode* node = this;
  while (node && !node->automation_)
    node = castTo<PDeviceNode>(node->getParent());
  return node ? node->automation_.get() : nullptr;
}

bool PDeviceNode::insertChild(FNode* node, int32_t index)
{
  const auto child = Ref<PDeviceNode>::share(castTo<PDeviceNode>(node));
  const bool isThere = node && node->getParent() == this;
  if (!FNode::insertChild(node, index))
    return false;
  const bool isNew = child && !isThere && child->getParent() == this;
  if (const auto automation = Ref<PAutomation>::share(nearestAutomation()); automation && isNew)
    automation->nodeAdded(child.get());
  return true;
}

bool PDeviceNode::removeChild(FNode* node)
{
  const auto alive = Ref<FNode>::share(node);
  if (!node || node->getParent() != this)
    return false;
  if (auto* child = castTo<PDeviceNode>(node))
    if (const auto automation = Ref<PAutomation>::share(nearestAutomation()))
      automation->nodeRemoved(child);
  FNode::removeChild(node);
  return node->getParent() != this; // who was told may have been quicker
}

// Parameters

bool PDeviceNode::getParameterName(int32_t tag, CmString& out)
{
  return parameterRequest({PParameterQuestion::name, tag, nullptr, &out}).number != 0;
}

bool PDeviceNode::getParameterNameByKey(const char* key, CmString& out)
{
  int32_t tag = -1;
  return findParameterTag(key, tag) && getParameterName(tag, out);
}

bool PDeviceNode::getParameterText(int32_t tag, CmString& out)
{
  return parameterRequest({PParameterQuestion::text, tag, nullptr, &out}).number != 0;
}

bool PDeviceNode::hasParameter(int32_t tag)
{
  return parameterRequest({PParameterQuestion::presence, tag}).number != 0;
}

bool PDeviceNode::findParameterTag(const char* key, int32_t& tag)
{
  const UValue* value =
      key ? parameterRequest({PParameterQuestion::valueByKey, 0, key}).value : nullptr;
  if (!value || value->getTag() == -1 || !hasParameter(value->getTag()))
    return false;
  tag = value->getTag();
  return true;
}

UValue* PDeviceNode::getParameterValue(int32_t tag)
{
  return parameterRequest({PParameterQuestion::value, tag}).value;
}

// Values that are told may let the node go, and those within it with it.

void PDeviceNode::setParameterInt(int32_t tag, int32_t number)
{
  const auto alive = Ref<PDeviceNode>::share(this);
  if (const auto value = Ref<UValue>::share(getParameterValue(tag)))
    value->setInt(number);
}

int32_t PDeviceNode::getParameterInt(int32_t tag)
{
  const UValue* value = getParameterValue(tag);
  return value ? value->getInt() : 0;
}

const char* PDeviceNode::getParameterSymbol(int32_t tag) const
{
  for (const Symbol& symbol : symbols)
    if (symbol.tag == tag && (nodeFlags_ & symbol.neededFlags) == symbol.neededFlags)
      return symbol.text;
  return nullptr;
}

bool PDeviceNode::isParameterSymbol(int32_t tag, const char* text) const
{
  const char* symbol = getParameterSymbol(tag);
  return symbol && text && std::strcmp(symbol, text) == 0;
}

void PDeviceNode::setParameterNormalized(int32_t tag, double fraction)
{
  const auto alive = Ref<PDeviceNode>::share(this);
  const auto value = Ref<UValue>::share(getParameterValue(tag));
  if (!value || value->isReadOnly() || !value->isEnabled() || std::isnan(fraction))
    return;
  CmString before;
  CmString after;
  value->getString(before);
  value->setNotify(false);
  value->setNormalizedEx(static_cast<float>(std::clamp(fraction, 0.0, 1.0)), true);
  value->setNotify(true);
  value->getString(after);
  if (!(after == before.view()))
    value->changed(UValue::changeNotice);
}

int32_t PDeviceNode::routeParameter(int32_t tag, CmObject* object)
{
  FMessage question("Wants Automation");
  question.setInt("Tag", tag);
  const auto automation = automation_;
  if (object && automation && object->handleMessage(question) != 0)
    return automation->routeParameter(this, tag, object);
  return routeParameterHere(tag, object);
}

// Outside

int32_t PDeviceNode::queryService(const FUID&, const FUID&, void** out)
{
  if (out)
    *out = nullptr;
  return 0;
}

int32_t PDeviceNode::openEditor(int32_t code)
{
  auto* parent = castTo<PDeviceNode>(getParent());
  return parent ? parent->openEditor(code) : 0;
}

CmResult PDeviceNode::queryInterface(const FUID& id, void** out)
{
  if (out && id == IParameterHost::interfaceId) {
    retain();
    *out = static_cast<IParameterHost*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

// The texts that are handed out live on until the next question of their kind.

const char* PDeviceNode::getClassNameText()
{
  static CmString text;
  text = nodeClass_;
  return text.text();
}

const char* PDeviceNode::getDeviceNameText()
{
  static CmString text;
  PDevice* device = getDevice();
  text = device ? device->getDisplayName() : CmString();
  return text.text();
}

int32_t PDeviceNode::getParameterCount()
{
  return std::max(parameterRequest({PParameterQuestion::count}).number, 0);
}

int32_t PDeviceNode::getParameterTag(int32_t index)
{
  if (index < 0 || index >= getParameterCount())
    return -1;
  return parameterRequest({PParameterQuestion::tagAt, index}).number;
}

const char* PDeviceNode::getParameterNameText(int32_t tag)
{
  static CmString text;
  text.set(std::string_view());
  getParameterName(tag, text);
  return text.text();
}

IParameterHost* PDeviceNode::getChildNode(int32_t index)
{
  return deviceChildAt(index);
}

const char* PDeviceNode::getPathText()
{
  static CmString text;
  getPath(text);
  return text.text();
}

const char* PDeviceNode::getParameterTextValue(int32_t tag, bool orOfValue)
{
  static CmString text;
  text.set(std::string_view());
  const UValue* value = nullptr;
  if (!getParameterText(tag, text) && orOfValue)
    value = getParameterValue(tag);
  if (value)
    value->getString(text);
  return text.text();
}

} // namespace orbi
