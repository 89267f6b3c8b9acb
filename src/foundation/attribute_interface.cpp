#include "foundation/attributes.h"
#include "foundation/binary_block.h"
#include "foundation/uid_object.h"

#include <cstring>
#include <unordered_set>

// The operations that FAttributes offers to those who know only the interface.

namespace orbi {

namespace {

constexpr int32_t success = 0;
constexpr int32_t failure = 1;

/// What stands for an interface among values: the object behind it, or an adapter. Null stays null.
Ref<CmObject> storable(FUnknown* unknown)
{
  CmObject* object = objectBehind(unknown);
  if (object || !unknown)
    return Ref<CmObject>::share(object);
  unknown->addRef();
  return make<CmDelegatingUnknown>(unknown);
}

} // namespace

int32_t FAttributes::setValue(const char* key, const AttributeVariant& value)
{
  if (!key)
    return failure;
  AttributeVariant given = value;
  switch (value.tag & ~tagOwned) {
  case tagInt:
    setInt(key, value.integer);
    return success;
  case tagDouble:
    setDouble(key, value.number);
    return success;
  case tagText:
    setString(key, value.text);
    given.clear();
    return success;
  case tagObject: {
    // Shared, not adopted: a value that holds this object already takes no further reference.
    setObject(key, storable(value.object).get(), ObjectMode::shared);
    given.clear();
    return success;
  }
  default:
    return failure;
  }
}

int32_t FAttributes::appendValue(const char* key, const AttributeVariant& value)
{
  if (!key)
    return failure;
  AttributeVariant given = value;
  bool appended = false;
  switch (value.tag & ~tagOwned) {
  case tagInt:
    appended = appendInt(key, value.integer);
    break;
  case tagDouble:
    appended = appendDouble(key, value.number);
    break;
  case tagText:
    appended = appendString(key, value.text);
    if (appended)
      given.clear();
    break;
  case tagObject: {
    Ref<CmObject> item = storable(value.object);
    appended = appendObject(key, item.get(), true);
    if (appended) {
      item.detach();
      given.clear();
    }
    break;
  }
  default:
    break;
  }
  return appended ? success : failure;
}

int32_t FAttributes::setBinary(const char* key, const void* data, int64_t size, bool copy)
{
  if (!key || size < 0 || size > UINT32_MAX || (!data && size > 0))
    return failure;
  Ref<CmObject> block;
  if (copy) {
    auto own = make<CmBuffer>(data, static_cast<uint32_t>(size));
    if (own->buffer.used() != size)
      return failure; // no memory: better no value than an empty one
    block = own;
  } else {
    block = make<FAttrBuffer>(data, size);
  }
  setObject(key, block.detach(), ObjectMode::adopted);
  return success;
}

int32_t FAttributes::getValue(const char* key, AttributeVariant& value) const
{
  const FStringIDAttribute* found = find(key);
  if (!found)
    return failure;
  uint16_t kind = found->kind();
  if (kind & attributeInt)
    value = AttributeVariant(found->asInt());
  else if (kind & attributeDouble)
    value = AttributeVariant(found->asDouble());
  else if (kind & attributeText)
    value = AttributeVariant(found->asText());
  else if (kind & attributeInterface)
    value = AttributeVariant(found->asInterface());
  else if (kind & attributeObject)
    value = AttributeVariant(static_cast<FUnknown*>(resolveObject(found->asObject())));
  else
    return failure;
  return success;
}

int32_t FAttributes::nextValue(const char* key, AttributeVariant& value)
{
  FAttrList* list = getList(key);
  return list && list->next(value) ? success : failure;
}

int32_t FAttributes::countValues(const char* key) const
{
  FAttrList* list = getList(key);
  return list ? static_cast<int32_t>(list->count()) : 0;
}

int32_t FAttributes::rewindList(const char* key)
{
  FAttrList* list = getList(key);
  if (!list)
    return failure;
  list->rewindList();
  return success;
}

int32_t FAttributes::rewindAllLists()
{
  std::vector<const FAttributes*> pending = {this};
  std::unordered_set<const FAttributes*> seen = {this};
  auto descend = [&](const FAttributes* inner) {
    if (seen.insert(inner).second)
      pending.push_back(inner);
  };
  while (!pending.empty()) {
    const FAttributes* container = pending.back();
    pending.pop_back();
    for (uint32_t i = 0; i < container->count(); ++i) {
      CmObject* object = container->at(i)->asObject();
      if (auto* list = castTo<FAttrList>(object))
        list->rewindList();
      if (auto* inner = castTo<FAttributes>(object))
        descend(inner);
      if (auto* list = castTo<FSubList>(object))
        for (uint32_t item = 0; item < list->count(); ++item)
          descend(list->at(item));
    }
  }
  return success;
}

int32_t FAttributes::getBinary(const char* key, void* buffer, int64_t size) const
{
  const std::optional<BinaryBlock> block = binaryBlockOf(getObject(key));
  if (!block || size < 0 || size > block->size || (size > 0 && !buffer))
    return failure;
  if (size > 0)
    std::memcpy(buffer, block->data, static_cast<size_t>(size));
  return success;
}

int64_t FAttributes::getBinarySize(const char* key) const
{
  return binaryBlockOf(getObject(key)).value_or(BinaryBlock{}).size;
}

} // namespace orbi
