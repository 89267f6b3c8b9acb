#include "persist/object_values.h"

#include "foundation/class_registry.h"
#include "foundation/memory_stream.h"

namespace orbi {

namespace {

struct SortOfClass {
  const char* className;
  ObjectSort sort;
};

constexpr SortOfClass sorts[] = {
    {FAttributes::className, ObjectSort::attributes},
    {FXmlInstance::className, ObjectSort::object},
    {FXmlReference::className, ObjectSort::reference},
    {FIntList::className, ObjectSort::intList},
    {FFloatList::className, ObjectSort::floatList},
    {FStringList::className, ObjectSort::stringList},
    {FObjectList::className, ObjectSort::objectList},
    {FSubList::className, ObjectSort::subList},
    {FMemoryStream::className, ObjectSort::binary},
    {CmBuffer::className, ObjectSort::binary},
    {FAttrBuffer::className, ObjectSort::binary},
};

} // namespace

ObjectSort sortOf(const CmObject* object)
{
  if (!object)
    return ObjectSort::none;
  for (const SortOfClass& row : sorts)
    if (object->isA(row.className))
      return row.sort;
  return ObjectSort::object;
}

StoredObject storedForm(const CmObject& object)
{
  const CmObject* source = &object;
  if (auto* instance = castTo<FXmlInstance>(&object)) {
    if (!instance->object()) {
      auto held = Ref<FAttributes>::share(instance->attributes());
      return {instance->storedClass().text(), held ? held : make<FAttributes>()};
    }
    source = instance->object();
  }
  auto attributes = make<FAttributes>();
  bool stored = source->storeAttributes(*attributes);
  const CmClassInfo* record = source->getClassInfo();
  return {record ? record->name() : source->getClassName(), stored ? attributes : nullptr};
}

/// The ID is the stored one or the address. Where two objects claim one, as happens when trees of
/// several files come together, the later gets the next that is free.
WrittenObjects::Entry WrittenObjects::enter(const CmObject& object)
{
  const CmObject* identity = &object;
  auto id = static_cast<int64_t>(reinterpret_cast<intptr_t>(identity));
  if (auto* instance = castTo<FXmlInstance>(&object)) {
    id = instance->id();
    if (instance->object())
      identity = instance->object();
  }
  auto [known, isNew] = ids_.try_emplace(identity, id);
  if (!isNew)
    return {known->second, false};
  while (id == 0 || !taken_.insert(id).second) {
    spareId_ += 0x9E3779B97F4A7C15u; // comes by every number once
    id = static_cast<int64_t>(spareId_);
  }
  known->second = id;
  kept_.push_back(Ref<CmObject>::share(const_cast<CmObject*>(identity)));
  return {id, true};
}

KeyPool::Key& KeyPool::search(std::string_view text)
{
  auto known = keys_.find(text);
  if (known == keys_.end()) {
    auto key = make<CmString>(text);
    known = keys_.emplace(key->view(), Key{key}).first;
  }
  *expected_ = &known->second;
  return pass(known->second);
}

bool OpenContainers::enter(const CmObject* container)
{
  return ++depth_ <= watchedDepth || open_.insert(container).second;
}

void OpenContainers::leave(const CmObject* container)
{
  if (depth_-- > watchedDepth)
    open_.erase(container);
}

} // namespace orbi
