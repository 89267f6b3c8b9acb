#include "persist/defaults.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(FDefaults);

FAttributes& FDefaults::values()
{
  if (!values_)
    values_ = make<FAttributes>();
  return *values_;
}

void FDefaults::setInt(const char* key, int64_t value)
{
  values().setInt(key, value);
}

int64_t FDefaults::getInt(const char* key) const
{
  return values_ ? values_->getInt(key) : 0;
}

bool FDefaults::getInt(const char* key, int64_t& out) const
{
  return values_ && values_->getInt(key, out);
}

void FDefaults::setFloat(const char* key, double value)
{
  values().setDouble(key, value);
}

double FDefaults::getFloat(const char* key) const
{
  return values_ ? values_->getDouble(key) : 0.0;
}

bool FDefaults::getFloat(const char* key, double& out) const
{
  return values_ && values_->getDouble(key, out);
}

void FDefaults::setString(const char* key, const char* value)
{
  values().setString(key, value);
}

const char* FDefaults::getString(const char* key) const
{
  const char* text = values_ ? values_->getString(key) : nullptr;
  return text ? text : "";
}

void FDefaults::setObject(const char* key, CmObject* object, bool adopt)
{
  values().setObject(key, object, adopt ? ObjectMode::adopted : ObjectMode::shared);
}

CmObject* FDefaults::getObject(const char* key) const
{
  return values_ ? values_->getObject(key) : nullptr;
}

bool FDefaults::remove(const char* key)
{
  return values_ && values_->remove(key);
}

void FDefaults::takeValues(const FAttributes& source)
{
  for (uint32_t i = 0; i < source.count(); ++i) {
    const FStringIDAttribute& value = *source.at(i);
    values().require(value.key().view()) = value;
  }
}

int FDefaults::compare(const CmObject* other) const
{
  const auto* defaults = castTo<FDefaults>(other);
  return defaults ? group_.compare(defaults->group_.text(), TextCompare::bytes)
                  : CmObject::compare(other);
}

bool FDefaults::storeAttributes(FAttributes& attributes) const
{
  attributes.setString("Group", group_.text());
  if (values_)
    attributes.setObject("Values", values_.get(), ObjectMode::shared);
  if (version_ != 0)
    attributes.setInt("Version", version_);
  return true;
}

bool FDefaults::loadAttributes(const FAttributes& attributes)
{
  const char* group = attributes.getString("Group");
  group_ = group ? group : "";
  values_ = Ref<FAttributes>::share(attributes.getObject<FAttributes>("Values"));
  version_ = static_cast<int32_t>(attributes.getInt("Version"));
  return group != nullptr;
}

} // namespace orbi
