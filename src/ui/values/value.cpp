#include "ui/values/value.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "foundation/message.h"
#include "foundation/plug_dependencies.h"
#include "foundation/stream.h"
#include "persist/translator.h"
#include "ui/values/plug_target.h"
#include "ui/values/value_numbers.h"

#include <algorithm>
#include <cmath>

namespace orbi {

CM_REGISTER(UValue);

UValue::UValue(const UValue& other)
    : CmClass(other), flags_(other.flags_ & ~uint32_t(noticeWaits | editing)), tag_(other.tag_),
      target_(other.target_)
{
  if (has(ownsTarget))
    target_->retain();
}

UValue::~UValue()
{
  retain(); // whoever takes a reference for the last call and gives it back doesn't end it twice
  if (FDependencies* dependencies = FDependencies::instance()) {
    dependencies->removeFromDeferred(this);
    dependencies->changed(this, goneNotice); // whatever the flags say: nobody may keep the pointer
    dependencies->removeDependent(this, nullptr);
  }
  if (FPlugDependencies* plugs = FPlugDependencies::instance())
    plugs->removeDependent(static_cast<CmObject*>(this), nullptr);
  if (has(ownsTarget))
    target_->releaseRef();
}

// Target

void UValue::setTarget(CmObject* target, int32_t tag, bool owned)
{
  CmObject* former = has(ownsTarget) ? target_ : nullptr;
  if (castTo<UPlugTarget>(former))
    put(editMessages, false); // that one had asked for them
  target_ = target;
  put(ownsTarget, owned && target);
  tag_ = tag;
  if (former)
    former->releaseRef();
}

void UValue::setTargetObject(IDependent* object, int32_t tag)
{
  if (!object) {
    setTarget(nullptr, tag);
    return;
  }
  auto plug = make<UPlugTarget>(object);
  const bool hearsEdits = plug->hearsEdits();
  setTarget(plug.detach(), tag, true);
  put(editMessages, hearsEdits);
}

void UValue::notifyTarget()
{
  if (target_)
    target_->update(this, changeNotice);
}

// Notices

void UValue::addDependent(CmObject* dependent)
{
  // The queue drops what waits when the last dependent leaves; the first to come finds it so.
  FDependencies* dependencies = FDependencies::instance();
  if (dependencies && has(noticeWaits) && !dependencies->hasDependents(this))
    put(noticeWaits, false);
  CmObject::addDependent(dependent);
}

void UValue::removeDependent(CmObject* dependent)
{
  CmObject::removeDependent(dependent);
  FDependencies* dependencies = FDependencies::instance();
  if (!dependencies || !dependencies->hasDependents(this))
    put(noticeWaits, false);
}

void UValue::changed(int32_t code)
{
  FDependencies* dependencies = FDependencies::instance();
  if (!dependencies)
    put(noticeWaits, false); // it went with the queue
  if (has(notifyOff) || has(noticeWaits))
    return;
  if (has(immediate) || !dependencies)
    tellDependents(code);
  else if (dependencies->deferChanged(this, code))
    put(noticeWaits, true);
}

void UValue::tellDependents(int32_t code)
{
  Ref<UValue> alive = kept();
  CmObject::changed(code);
}

void UValue::putVisibly(Flag flag, bool on)
{
  if (has(flag) == on)
    return;
  put(flag, on);
  changed(changeNotice);
}

// The value

void UValue::setValue(int32_t value)
{
  putVisibly(boolean, constrain(value) != 0);
}

int32_t UValue::constrain(int32_t value) const
{
  return std::max(getMin(), std::min(value, getMax())); // also of a range turned round
}

void UValue::setNormalized(float fraction)
{
  if (!std::isnan(fraction))
    setValue(cutAtFraction(getMin(), getMax(), fraction));
}

void UValue::stepDown()
{
  if (getValue() > getMin())
    setInt(getValue() - 1);
}

void UValue::stepUp()
{
  if (getValue() < getMax())
    setInt(getValue() + 1);
}

void UValue::copyValue(const UValue& other)
{
  setInt(other.getInt());
}

void UValue::setType(int32_t type)
{
  flags_ = (flags_ & ~uint32_t(typeMask)) | (static_cast<uint32_t>(type) & typeMask);
}

// Edits

/// Whether the message went to an outside object, which then needs no other notice.
bool UValue::sendEditMessage(const char* id)
{
  if (!has(editMessages) || !target_)
    return false;
  const bool isOutside = castTo<UPlugTarget>(target_) != nullptr;
  Ref<CmObject> target = Ref<CmObject>::share(target_);
  FMessage message(id);
  message.setObject("Value", this);
  target->handleMessage(message);
  return isOutside;
}

void UValue::BeginEdit()
{
  Ref<UValue> alive = kept();
  put(editing, true);
  const bool isTold = sendEditMessage(beginEditMessage);
  if (getNotifyOnEdit() && !isTold)
    notifyTarget();
}

void UValue::EndEdit()
{
  Ref<UValue> alive = kept();
  put(editing, false);
  const bool isTold = sendEditMessage(endEditMessage);
  const bool isGradual = getType() == floatType || getType() == choiceType;
  if (has(notifyAtEnd) || (getNotifyOnEdit() && !isTold && isGradual))
    notifyTarget();
}

// Text

void UValue::getString(CmString& text) const
{
  text.set(UTranslator::text(has(boolean) ? "On" : "Off"));
}

void UValue::getStringForValue(int32_t value, CmString& text)
{
  const int32_t present = getValue();
  Quiet quiet(*this);
  setValue(value);
  getString(text);
  setValue(present);
}

void UValue::getStringForNormalized(float fraction, CmString& text)
{
  const int32_t present = getValue();
  Quiet quiet(*this);
  setNormalized(fraction);
  getString(text);
  setValue(present);
}

// Persistence

bool UValue::read(FStream& stream)
{
  int32_t value = 0;
  if (!stream.readInt32(value))
    return false;
  setValue(value);
  return true;
}

bool UValue::write(FStream& stream) const
{
  return stream.writeInt32(getValue());
}

bool UValue::storeAttributes(FAttributes& attributes) const
{
  return attributes.setInt("Min", getMin()) && attributes.setInt("Max", getMax()) &&
         attributes.setInt("Value", getValue());
}

bool UValue::loadAttributes(const FAttributes& attributes)
{
  int64_t number = 0;
  if (attributes.getInt("Min", number))
    setMin(saturated(number));
  if (attributes.getInt("Max", number))
    setMax(saturated(number));
  if (attributes.getInt("Value", number))
    setValue(saturated(number));
  return true;
}

} // namespace orbi
