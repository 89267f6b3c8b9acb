#include "ui/values/value_proxy.h"

// What a proxy has its source answer, and its base class without one.

namespace orbi {

// The value and its range

void UValueProxy::setValue(int32_t value)
{
  return source_ ? source_->setValue(value) : UValue::setValue(value);
}

int32_t UValueProxy::getValue() const
{
  return source_ ? source_->getValue() : UValue::getValue();
}

int32_t UValueProxy::getMin() const
{
  return source_ ? source_->getMin() : UValue::getMin();
}

void UValueProxy::setMin(int32_t min)
{
  return source_ ? source_->setMin(min) : UValue::setMin(min);
}

int32_t UValueProxy::getMax() const
{
  return source_ ? source_->getMax() : UValue::getMax();
}

void UValueProxy::setMax(int32_t max)
{
  return source_ ? source_->setMax(max) : UValue::setMax(max);
}

int32_t UValueProxy::constrain(int32_t value) const
{
  return source_ ? source_->constrain(value) : UValue::constrain(value);
}

void UValueProxy::setNormalized(float fraction)
{
  return source_ ? source_->setNormalized(fraction) : UValue::setNormalized(fraction);
}

bool UValueProxy::getDefault(int32_t& value) const
{
  return source_ ? source_->getDefault(value) : UValue::getDefault(value);
}

void UValueProxy::setDefault(int32_t value)
{
  return source_ ? source_->setDefault(value) : UValue::setDefault(value);
}

void UValueProxy::stepDown()
{
  return source_ ? source_->stepDown() : UValue::stepDown();
}

void UValueProxy::stepUp()
{
  return source_ ? source_->stepUp() : UValue::stepUp();
}

void UValueProxy::copyValue(const UValue& other)
{
  return source_ ? source_->copyValue(other) : UValue::copyValue(other);
}

void UValueProxy::setIntEx(int32_t value, bool notify)
{
  return source_ ? source_->setIntEx(value, notify) : UValue::setIntEx(value, notify);
}

float UValueProxy::getFloat() const
{
  return source_ ? source_->getFloat() : UValue::getFloat();
}

void UValueProxy::setFloat(float value)
{
  return source_ ? source_->setFloat(value) : UValue::setFloat(value);
}

float UValueProxy::getMinFloat() const
{
  return source_ ? source_->getMinFloat() : UValue::getMinFloat();
}

void UValueProxy::setMinFloat(float min)
{
  return source_ ? source_->setMinFloat(min) : UValue::setMinFloat(min);
}

float UValueProxy::getMaxFloat() const
{
  return source_ ? source_->getMaxFloat() : UValue::getMaxFloat();
}

void UValueProxy::setMaxFloat(float max)
{
  return source_ ? source_->setMaxFloat(max) : UValue::setMaxFloat(max);
}

float UValueProxy::getNormalized() const
{
  return source_ ? source_->getNormalized() : UValue::getNormalized();
}

void UValueProxy::setNormalizedEx(float fraction, bool notify)
{
  return source_ ? source_->setNormalizedEx(fraction, notify)
                 : UValue::setNormalizedEx(fraction, notify);
}

bool UValueProxy::resetToDefault()
{
  return source_ ? source_->resetToDefault() : UValue::resetToDefault();
}

bool UValueProxy::getDefaultFloat(float& value) const
{
  return source_ ? source_->getDefaultFloat(value) : UValue::getDefaultFloat(value);
}

void UValueProxy::setDefaultFloat(float value)
{
  return source_ ? source_->setDefaultFloat(value) : UValue::setDefaultFloat(value);
}

// Edits

void UValueProxy::beginEdit()
{
  return source_ ? source_->beginEdit() : UValue::beginEdit();
}

void UValueProxy::endEdit()
{
  return source_ ? source_->endEdit() : UValue::endEdit();
}

bool UValueProxy::isEditing() const
{
  return source_ ? source_->isEditing() : UValue::isEditing();
}

bool UValueProxy::getNotifyOnEdit() const
{
  return source_ ? source_->getNotifyOnEdit() : UValue::getNotifyOnEdit();
}

void UValueProxy::setNotifyOnEdit(bool on)
{
  return source_ ? source_->setNotifyOnEdit(on) : UValue::setNotifyOnEdit(on);
}

void UValueProxy::setNotifyAtEnd(bool on)
{
  return source_ ? source_->setNotifyAtEnd(on) : UValue::setNotifyAtEnd(on);
}

void UValueProxy::setEditMessages(bool on)
{
  return source_ ? source_->setEditMessages(on) : UValue::setEditMessages(on);
}

// Text

void UValueProxy::getString(CmString& text) const
{
  return source_ ? source_->getString(text) : UValue::getString(text);
}

void UValueProxy::getStringThis(CmString& text) const
{
  return source_ ? source_->getStringThis(text) : UValue::getStringThis(text);
}

void UValueProxy::getStringForValue(int32_t value, CmString& text)
{
  return source_ ? source_->getStringForValue(value, text) : UValue::getStringForValue(value, text);
}

void UValueProxy::getStringForNormalized(float fraction, CmString& text)
{
  return source_ ? source_->getStringForNormalized(fraction, text)
                 : UValue::getStringForNormalized(fraction, text);
}

void UValueProxy::setTextBuffer(const char* text, bool notify)
{
  return source_ ? source_->setTextBuffer(text, notify) : UValue::setTextBuffer(text, notify);
}

// Properties

int32_t UValueProxy::getType() const
{
  return source_ ? source_->getType() : UValue::getType();
}

void UValueProxy::setType(int32_t type)
{
  return source_ ? source_->setType(type) : UValue::setType(type);
}

bool UValueProxy::isEnabled() const
{
  return source_ ? source_->isEnabled() : UValue::isEnabled();
}

void UValueProxy::setEnabled(bool on)
{
  return source_ ? source_->setEnabled(on) : UValue::setEnabled(on);
}

bool UValueProxy::isReadOnly() const
{
  return source_ ? source_->isReadOnly() : UValue::isReadOnly();
}

void UValueProxy::setReadOnly(bool on)
{
  return source_ ? source_->setReadOnly(on) : UValue::setReadOnly(on);
}

bool UValueProxy::isChoice() const
{
  return source_ ? source_->isChoice() : UValue::isChoice();
}

void UValueProxy::setChoice(bool on)
{
  return source_ ? source_->setChoice(on) : UValue::setChoice(on);
}

bool UValueProxy::isMarked() const
{
  return source_ ? source_->isMarked() : UValue::isMarked();
}

void UValueProxy::setMarked(bool on)
{
  return source_ ? source_->setMarked(on) : UValue::setMarked(on);
}

bool UValueProxy::getFlag(int32_t index) const
{
  return source_ ? source_->getFlag(index) : UValue::getFlag(index);
}

void UValueProxy::setFlag(int32_t index, bool on)
{
  return source_ ? source_->setFlag(index, on) : UValue::setFlag(index, on);
}

// Persistence

bool UValueProxy::read(FStream& stream)
{
  return source_ ? source_->read(stream) : UValue::read(stream);
}

bool UValueProxy::write(FStream& stream) const
{
  return source_ ? source_->write(stream) : UValue::write(stream);
}

bool UValueProxy::storeAttributes(FAttributes& attributes) const
{
  return source_ ? source_->storeAttributes(attributes) : UValue::storeAttributes(attributes);
}

bool UValueProxy::loadAttributes(const FAttributes& attributes)
{
  return source_ ? source_->loadAttributes(attributes) : UValue::loadAttributes(attributes);
}

} // namespace orbi
