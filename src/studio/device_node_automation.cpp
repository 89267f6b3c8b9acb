#include "foundation/message.h"
#include "studio/device.h"

namespace orbi {

/// One of the two switches, with what belongs to it.
struct PDeviceNode::Enable {
  UIntValue PDeviceNode::*value;
  int32_t tag;
  void (PDeviceNode::*set)(bool on, EnabledBy by);
  void (PAutomation::*tell)(PDeviceNode* node, bool on);
  bool asksForAutomation; ///< a click on it makes an automation that isn't there yet
};

const PDeviceNode::Enable PDeviceNode::readEnable{&PDeviceNode::readEnable_, readEnableTag,
                                                  &PDeviceNode::setReadEnable,
                                                  &PAutomation::setReadEnable, true};
const PDeviceNode::Enable PDeviceNode::writeEnable{&PDeviceNode::writeEnable_, writeEnableTag,
                                                   &PDeviceNode::setWriteEnable,
                                                   &PAutomation::setWriteEnable, false};

void PDeviceNode::setReadEnable(bool on, EnabledBy by)
{
  spread(readEnable, on, by);
}

void PDeviceNode::setWriteEnable(bool on, EnabledBy by)
{
  spread(writeEnable, on, by);
}

/// Those who are told may change the tree: by index, and nobody goes while its turn lasts.
void PDeviceNode::spread(const Enable& enable, bool on, EnabledBy by)
{
  const auto alive = Ref<PDeviceNode>::share(this);
  (this->*enable.value).setValue(on ? 1 : 0);
  if (const auto automation = automation_)
    (automation.get()->*enable.tell)(this, on);
  for (int32_t i = 0; i < countChildren(); ++i) {
    const auto child = Ref<PDeviceNode>::share(deviceChildAt(i));
    const bool isLeftOut =
        !child || (by == EnabledBy::owner && child->hasFlag(nodeIsAutomationRoot));
    if (!isLeftOut)
      (child.get()->*enable.set)(on, by);
  }
  if (PDevice* device = getDevice())
    device->deferChanged(nodeEnableNotice);
}

UValue* PDeviceNode::getReadEnableValue()
{
  readEnable_.setTarget(this, readEnableTag);
  return &readEnable_;
}

UValue* PDeviceNode::getWriteEnableValue()
{
  writeEnable_.setTarget(this, writeEnableTag);
  return &writeEnable_;
}

void PDeviceNode::setAutomation(PAutomation* automation)
{
  automation_ = Ref<PAutomation>::share(automation);
  if (automation)
    return;
  const auto alive = Ref<PDeviceNode>::share(this);
  if (isWriteEnabled())
    setWriteEnable(false, EnabledBy::owner);
  if (isReadEnabled())
    setReadEnable(false, EnabledBy::owner);
}

void PDeviceNode::clearAutomationFlag()
{
  automationFlag_ = false;
  for (int32_t i = 0; i < countChildren(); ++i)
    if (PDeviceNode* child = deviceChildAt(i))
      child->clearAutomationFlag();
}

bool PDeviceNode::hasAutomationFlag() const
{
  if (automationFlag_)
    return true;
  for (int32_t i = 0; i < countChildren(); ++i)
    if (const PDeviceNode* child = deviceChildAt(i); child && child->hasAutomationFlag())
      return true;
  return false;
}

void PDeviceNode::update(CmObject* subject, int32_t code)
{
  if (code != UValue::changeNotice)
    return;
  const auto alive = Ref<PDeviceNode>::share(this);
  if (const auto choice = presetChoice_; choice && choice.get() == subject) {
    choice->recall();
    return;
  }
  auto* value = castTo<UValue>(subject);
  for (const Enable* enable : {&readEnable, &writeEnable})
    if (value && value->getTag() == enable->tag)
      enableClicked(*enable, *value);
}

/// The user's wish goes to the automation root, which passes it on to this node, too.
void PDeviceNode::enableClicked(const Enable& enable, UValue& value)
{
  const bool on = value.getValue() != value.getMin();
  if (enable.asksForAutomation && !automation_ && on) {
    FMessage wish("CreateAutomation");
    wish.setObject("DeviceNode", this);
    tellApplication(wish);
  }
  PDeviceNode* root = this;
  while (root && !root->hasFlag(nodeIsAutomationRoot))
    root = castTo<PDeviceNode>(root->getParent());
  if (!root)
    return;
  if (root->automation_ || automation_)
    (root->*enable.set)(on, EnabledBy::user);
  else
    value.setValue(0);
}

void PDeviceNode::setFreezeLock(bool on)
{
  if (hasFlag(nodeIsFrozen) == on)
    return;
  const auto alive = Ref<PDeviceNode>::share(this);
  nodeFlags_ = on ? nodeFlags_ | nodeIsFrozen : nodeFlags_ & ~uint32_t(nodeIsFrozen);
  deferChanged(nodeFrozenNotice);
  for (int32_t i = 0; i < countChildren(); ++i)
    if (const auto child = Ref<PDeviceNode>::share(deviceChildAt(i)))
      child->setFreezeLock(on);
  FMessage message("SetFreezeLock");
  message.setInt("State", on ? 1 : 0);
  message.setObject("Device", this);
  tellApplication(message);
}

} // namespace orbi
