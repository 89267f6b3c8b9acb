#include "ui/values/value_proxy.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "ui/application.h"
#include "ui/values/alias_value.h"

#include <utility>

namespace orbi {

CM_REGISTER(UValueProxy);
CM_REGISTER(UAliasValue);

namespace {

constexpr int32_t noTag = -1;

bool leadsTo(const UValue* value, const UValueProxy* proxy)
{
  for (; value; value = castTo<UValueProxy>(value)->source()) {
    if (value == proxy)
      return true;
    if (!castTo<UValueProxy>(value))
      return false;
  }
  return false;
}

} // namespace

UValueProxy::UValueProxy(UValue* source)
{
  UValue::setTag(noTag);
  attach(source);
}

UValueProxy::UValueProxy(const UValueProxy& other) : CmClass(other)
{
  attach(other.source());
}

UValueProxy::~UValueProxy()
{
  detach();
}

bool UValueProxy::setSource(UValue* source)
{
  if (leadsTo(source, this))
    return false;
  if (source_ != source) {
    Ref<UValue> wanted =
        Ref<UValue>::share(source); // the former source may hold the last other one
    detach();
    attach(source);
    tellOfSource();
  } else if (mirrorTarget()) {
    tellOfSource();
  }
  return true;
}

void UValueProxy::attach(UValue* source)
{
  if (!source)
    return;
  source_ = Ref<UValue>::share(source);
  source->addDependent(this);
  if (has(notifyOff))
    UValueProxy::setNotify(false);
  mirrorTarget();
}

void UValueProxy::detach()
{
  Ref<UValue> former = std::move(source_);
  if (!former)
    return;
  UValue::setTarget(nullptr, noTag);
  former->removeDependent(this);
  if (std::exchange(hasSilencedSource_, false))
    former->setNotify(true); // nobody would do so later
}

/// Whether the source's target or tag were other ones than those known here.
bool UValueProxy::mirrorTarget()
{
  if (!source_)
    return false;
  CmObject* target = source_->getTarget();
  const int32_t tag = source_->getTag();
  if (target == UValue::getTarget() && tag == UValue::getTag())
    return false;
  UValue::setTarget(target, tag);
  return true;
}

void UValueProxy::tellOfSource()
{
  const UApplication* application = UApplication::instance();
  if (application && application->usesDirectUpdates())
    tellDependents(changeNotice);
  else
    changed(changeNotice);
}

void UValueProxy::update(CmObject* subject, int32_t code)
{
  if (!source_ || subject != source_.get())
    return;
  if (code == goneNotice)
    setSource(nullptr);
  else
    changed(code);
}

// Target

void UValueProxy::setTarget(CmObject* target, int32_t tag, bool owned)
{
  if (source_) {
    source_->setTarget(target, tag, owned);
    mirrorTarget();
  } else {
    UValue::setTarget(target, tag, owned);
  }
}

void UValueProxy::setTargetObject(IDependent* object, int32_t tag)
{
  if (source_) {
    source_->setTargetObject(object, tag);
    mirrorTarget();
  } else {
    UValue::setTargetObject(object, tag);
  }
}

void UValueProxy::setTag(int32_t tag)
{
  if (source_)
    source_->setTag(tag);
  UValue::setTag(tag);
}

CmObject* UValueProxy::getTarget() const
{
  return source_ ? source_->getTarget() : UValue::getTarget();
}

int32_t UValueProxy::getTag() const
{
  return source_ ? source_->getTag() : UValue::getTag();
}

void UValueProxy::notifyTarget()
{
  if (source_)
    source_->notifyTarget();
  else
    UValue::notifyTarget();
}

// Notices

void UValueProxy::setNotify(bool on)
{
  UValue::setNotify(on);
  if (!source_)
    return;
  hasSilencedSource_ = !on && (hasSilencedSource_ || source_->getNotify());
  source_->setNotify(on);
}

bool UValueProxy::getNotify() const
{
  return source_ ? source_->getNotify() : UValue::getNotify();
}

void UValueProxy::setImmediate(bool on)
{
  UValue::setImmediate(on);
  if (source_)
    source_->setImmediate(on);
}

} // namespace orbi
