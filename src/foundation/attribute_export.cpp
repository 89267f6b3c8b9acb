#include "foundation/attribute_export.h"

namespace orbi {

namespace {

uint32_t packKey(const char* text)
{
  uint32_t key = 0;
  for (int i = 0; i < 4 && text[i]; ++i)
    key |= static_cast<uint32_t>(static_cast<unsigned char>(text[i])) << (8 * i);
  return key;
}

bool hasPlainKind(const FAttributeValue& value)
{
  uint16_t kind = value.persistentKind();
  return kind == attributeInt || kind == attributeDouble || kind == attributeText ||
         kind == attributeObject;
}

FIntIDAttribute* findKey(const CmArray& values, uint32_t key)
{
  for (CmObject* item : values)
    if (auto* value = castTo<FIntIDAttribute>(item); value && value->key() == key)
      return value;
  return nullptr;
}

} // namespace

void exportAttributes(const CmArray& values, FAttributes& target, const char* key)
{
  FAttributes* container = nullptr;
  for (CmObject* item : values) {
    auto* value = castTo<FIntIDAttribute>(item);
    if (!value || (value->kind() & attributeUser0) || !hasPlainKind(*value))
      continue;
    if (!container) {
      container = new FAttributes;
      target.setObject(key, container, ObjectMode::adopted);
    }
    char name[5] = {};
    for (int i = 0; i < 4; ++i)
      name[i] = static_cast<char>(value->key() >> (8 * i));
    static_cast<FAttributeValue&>(container->require(name)) = *value;
  }
}

bool importAttributes(CmArray& values, const FAttributes& source, ImportMode mode, const char* key)
{
  auto* container = source.getObject<FAttributes>(key);
  if (!container)
    return false;
  for (uint32_t i = 0; i < container->count(); ++i) {
    const FStringIDAttribute* stored = container->at(i);
    if (!hasPlainKind(*stored))
      continue;
    uint32_t packed = packKey(stored->key().text());
    FIntIDAttribute* value = findKey(values, packed);
    if (value && mode == ImportMode::keepPresent)
      continue;
    if (!value) {
      value = new FIntIDAttribute(packed);
      values.add(value);
    }
    static_cast<FAttributeValue&>(*value) = *stored;
  }
  return true;
}

} // namespace orbi
