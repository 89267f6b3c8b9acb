#include "foundation/attributes.h"

#include "foundation/class_registry.h"
#include "foundation/stream.h"

#include <cmath>
#include <set>

namespace orbi {

CM_REGISTER(FAttributes);
CM_ALIAS(FAttributes, "Attributes");

namespace {

int64_t truncated(double value)
{
  if (!(value > -9.2233720368547748e18))
    return std::isnan(value) ? 0 : INT64_MIN;
  return value < 9.2233720368547748e18 ? static_cast<int64_t>(value) : INT64_MAX;
}

} // namespace

CmObject* resolveObject(CmObject* object)
{
  void* found = nullptr;
  if (!object || object->queryInterface(IObjectReference::interfaceId, &found) != resultOk)
    return object;
  auto* reference = static_cast<IObjectReference*>(found);
  CmObject* target = reference->resolved();
  reference->release();
  return target;
}

FAttributes& FAttributes::operator=(const FAttributes& other)
{
  assign(other);
  return *this;
}

void FAttributes::assign(const FAttributes& source)
{
  source.values();
  values_ = source.values_;
}

void FAttributes::copyValues(const FAttributes& source)
{
  for (uint32_t i = 0; i < source.count(); ++i) {
    const FStringIDAttribute* value = source.at(i);
    int userFlags = value->kind() >> 6 & 3;
    static_cast<FAttributeValue&>(require(value->key().text(), userFlags)) = *value;
  }
}

CmResult FAttributes::queryInterface(const FUID& id, void** out)
{
  if (out && id == IAttributes::interfaceId) {
    retain();
    *out = static_cast<IAttributes*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

AttributeTable& FAttributes::values() const
{
  if (!values_)
    values_ = make<AttributeTable>();
  return *values_;
}

FStringIDAttribute* FAttributes::at(uint32_t index) const
{
  return values_ ? values_->at(index) : nullptr;
}

FStringIDAttribute* FAttributes::find(const char* key) const
{
  return key ? find(std::string_view(key)) : nullptr;
}

FStringIDAttribute* FAttributes::find(std::string_view key) const
{
  return values_ ? values_->find(key) : nullptr;
}

FStringIDAttribute& FAttributes::require(const char* key, int userFlags)
{
  return require(std::string_view(key ? key : ""), userFlags);
}

FStringIDAttribute& FAttributes::require(std::string_view key, int userFlags)
{
  if (FStringIDAttribute* present = find(key))
    return *present;
  return values().add(make<CmString>(key), userFlags);
}

FStringIDAttribute& FAttributes::require(const Ref<CmString>& key)
{
  if (FStringIDAttribute* present = find(key->view()))
    return *present;
  return values().add(key);
}

FStringIDAttribute& FAttributes::addNew(const Ref<CmString>& key)
{
  return values().add(key);
}

bool FAttributes::remove(const char* key)
{
  FStringIDAttribute* value = find(key);
  return value && values_->remove(value);
}

void FAttributes::removeAll()
{
  if (values_)
    values_->removeAll();
}

bool FAttributes::setInt(const char* key, int64_t value)
{
  require(key).setInt(value);
  return true;
}

bool FAttributes::setDouble(const char* key, double value)
{
  require(key).setDouble(value);
  return true;
}

bool FAttributes::setString(const char* key, const char* text, bool borrow)
{
  require(key).setText(text, borrow);
  return true;
}

bool FAttributes::setObject(const char* key, CmObject* object, ObjectMode mode)
{
  require(key).setObject(object, mode);
  return true;
}

bool FAttributes::getInt(const char* key, int64_t& value) const
{
  const FStringIDAttribute* found = find(key);
  if (!found)
    return false;
  if (found->kind() & attributeDouble)
    value = truncated(found->asDouble());
  else if ((found->kind() & attributeInt) || found->asText())
    value = found->asInt();
  else
    return false;
  return true;
}

int64_t FAttributes::getInt(const char* key) const
{
  int64_t value = 0;
  getInt(key, value);
  return value;
}

bool FAttributes::getDouble(const char* key, double& value) const
{
  const FStringIDAttribute* found = find(key);
  if (!found)
    return false;
  if (found->kind() & attributeInt)
    value = static_cast<double>(found->asInt());
  else if ((found->kind() & attributeDouble) || found->asText())
    value = found->asDouble();
  else
    return false;
  return true;
}

double FAttributes::getDouble(const char* key) const
{
  double value = 0;
  getDouble(key, value);
  return value;
}

const char* FAttributes::getString(const char* key) const
{
  const FStringIDAttribute* found = find(key);
  return found ? found->asText() : nullptr;
}

CmObject* FAttributes::getObject(const char* key) const
{
  const FStringIDAttribute* found = find(key);
  return found ? resolveObject(found->asObject()) : nullptr;
}

CmObject* FAttributes::getObject(const char* key, const char* classWanted) const
{
  CmObject* object = getObject(key);
  return object && object->isA(classWanted) ? object : nullptr;
}

FAttrList* FAttributes::getList(const char* key) const
{
  const FStringIDAttribute* found = find(key);
  return found ? castTo<FAttrList>(found->asObject()) : nullptr;
}

/// The list under the key, made when the key is free; null when something else is there. The flag
/// is what the list is made with.
template <class List>
List* FAttributes::listFor(const char* key, bool flag)
{
  if (const FStringIDAttribute* found = find(key))
    return castTo<List>(found->asObject());
  List* list = nullptr;
  if constexpr (std::is_constructible_v<List, bool>)
    list = new List(flag);
  else
    list = new List;
  require(key).setObject(list, ObjectMode::adopted);
  return list;
}

bool FAttributes::appendInt(const char* key, int64_t value)
{
  auto* list = listFor<FIntList>(key, true);
  if (list)
    list->values.push_back(value);
  return list != nullptr;
}

bool FAttributes::appendDouble(const char* key, double value)
{
  auto* list = listFor<FFloatList>(key, true);
  if (list)
    list->values.push_back(value);
  return list != nullptr;
}

bool FAttributes::appendString(const char* key, const char* text, bool copy)
{
  auto* list = listFor<FStringList>(key, copy);
  return list && list->append(text, copy);
}

bool FAttributes::appendObject(const char* key, CmObject* object, bool adopt)
{
  auto* attributes = castTo<FAttributes>(object);
  if (!attributes) {
    auto* list = listFor<FObjectList>(key, adopt);
    return list && list->append(object, adopt);
  }
  auto* list = listFor<FSubList>(key, true);
  if (!list)
    return false;
  if (!adopt)
    attributes->retain(); // such a list always owns
  return list->append(attributes);
}

namespace {

/// A search through a tree of any depth, in the order of its values. What was gone through with one
/// search text isn't again, since references in a file may lead anywhere.
class AttributesSearch {
public:
  FAttributes* run(const FAttributes& root, std::string_view search)
  {
    enter(root, search);
    while (!open_.empty())
      if (FAttributes* found = step())
        return found;
    return nullptr;
  }

private:
  struct Place {
    const FAttributes* container; ///< one of the two
    const FSubList* list;
    uint32_t next;
    std::string_view search;
  };

  void enter(const FAttributes& container, std::string_view search)
  {
    if (seen_.emplace(&container, search.size()).second)
      open_.push_back({&container, nullptr, 0, search});
  }

  FAttributes* step()
  {
    Place& place = open_.back();
    if (place.container)
      return stepValue(place);
    if (const FAttributes* item = place.list->at(place.next++))
      enter(*item, place.search);
    else
      open_.pop_back();
    return nullptr;
  }

  FAttributes* stepValue(Place& place)
  {
    const FStringIDAttribute* value = place.container->at(place.next++);
    if (!value) {
      open_.pop_back();
      return nullptr;
    }
    CmObject* object = resolveObject(value->asObject());
    if (auto* container = castTo<FAttributes>(object)) {
      if (value->key() == place.search)
        return container;
      // The rest counts from here on, for the values that follow as well.
      size_t bar = place.search.find('|');
      if (bar != place.search.npos && value->key() == place.search.substr(0, bar))
        place.search.remove_prefix(bar + 1);
      enter(*container, place.search);
    } else if (auto* list = castTo<FSubList>(object)) {
      open_.push_back({nullptr, list, 0, place.search});
    }
    return nullptr;
  }

  std::vector<Place> open_;
  std::set<std::pair<const FAttributes*, size_t>> seen_;
};

} // namespace

FAttributes* FAttributes::findAttributes(std::string_view search) const
{
  return AttributesSearch().run(*this, search);
}

bool FAttributes::write(FStream& stream) const
{
  if (!stream.writeUint32(count()))
    return false;
  for (uint32_t i = 0; i < count(); ++i) {
    const FStringIDAttribute* value = at(i);
    if (!value->key().write(stream) || !value->write(stream))
      return false;
  }
  return true;
}

bool FAttributes::read(FStream& stream)
{
  uint32_t stored = 0;
  if (!stream.readUint32(stored))
    return false;
  Ref<AttributeTable> loaded = make<AttributeTable>();
  for (uint32_t i = 0; i < stored; ++i) {
    CmString key;
    if (!key.read(stream))
      return false;
    if (!loaded->add(make<CmString>(key.view())).read(stream))
      return false;
  }
  values_ = loaded;
  return true;
}

bool FAttributes::storeAttributes(FAttributes& attributes) const
{
  attributes.copyValues(*this);
  return true;
}

bool FAttributes::loadAttributes(const FAttributes& attributes)
{
  assign(attributes);
  return true;
}

} // namespace orbi
