#include "studio/port_descriptor.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER(PPortDescriptor);
CM_REGISTER(PPortIDMapping);

namespace {

template <class Owner>
struct TextField {
  const char* key;
  CmString Owner::*text;
};

constexpr TextField<PPortDescriptor> descriptorFields[] = {
    {"ID", &PPortDescriptor::id},
    {"Type", &PPortDescriptor::type},
    {"Subtype", &PPortDescriptor::subtype},
    {"SysName", &PPortDescriptor::systemName},
    {"UserName", &PPortDescriptor::userName},
    {"Role", &PPortDescriptor::role},
};

constexpr TextField<PPortIDMapping> mappingFields[] = {
    {"SourceID", &PPortIDMapping::sourceID},
    {"DestID", &PPortIDMapping::destID},
};

/// Whether there is a text under the key; an absent one leaves the field empty.
template <class Owner>
bool load(const FAttributes& attributes, const TextField<Owner>& field, Owner& owner)
{
  const char* text = attributes.getString(field.key);
  (owner.*field.text).set(text);
  return text != nullptr;
}

} // namespace

bool PPortDescriptor::storeAttributes(FAttributes& attributes) const
{
  for (const auto& field : descriptorFields)
    if (const CmString& text = this->*field.text; !text.isEmpty() || &text == &id)
      attributes.setString(field.key, text.text());
  return true;
}

bool PPortDescriptor::loadAttributes(const FAttributes& attributes)
{
  for (const auto& field : descriptorFields)
    load(attributes, field, *this);
  return attributes.getString(descriptorFields[0].key) != nullptr;
}

bool PPortIDMapping::storeAttributes(FAttributes& attributes) const
{
  for (const auto& field : mappingFields)
    attributes.setString(field.key, (this->*field.text).text());
  return true;
}

bool PPortIDMapping::loadAttributes(const FAttributes& attributes)
{
  bool complete = true;
  for (const auto& field : mappingFields)
    complete &= load(attributes, field, *this);
  return complete;
}

} // namespace orbi
