#include "studio/studio_setup.h"

#include "foundation/attributes.h"
#include "foundation/class_registry.h"
#include "foundation/component_registry.h"
#include "studio/device.h"

namespace orbi {

CM_REGISTER(PStudioSetupItem);
CM_REGISTER(PStudioSetup);

namespace {

constexpr const char* keyCategory = "Category";
constexpr const char* keyName = "Name";
constexpr const char* keyItems = "Items";

const PStudioSetupItem& itemOf(const CmObject* object)
{
  return *static_cast<const PStudioSetupItem*>(object);
}

} // namespace

bool PStudioSetupItem::matches(const PDevice& device) const
{
  if (category == deviceCategory && name == device.getClassName())
    return true;
  const FComponent* component = FComponentRegistry::find(category.view(), name.view());
  return component && device.hasClassID(component->id());
}

bool PStudioSetupItem::storeAttributes(FAttributes& attributes) const
{
  return attributes.setString(keyCategory, category.text()) &&
         attributes.setString(keyName, name.text());
}

bool PStudioSetupItem::loadAttributes(const FAttributes& attributes)
{
  category.set(attributes.getString(keyCategory));
  name.set(attributes.getString(keyName));
  return !category.isEmpty() && !name.isEmpty();
}

bool PStudioSetup::read(FStream& stream)
{
  FObjectList names;
  const bool isComplete = names.read(stream);
  items_.removeAll();
  for (uint32_t i = 0; i < names.count(); ++i)
    if (const auto* name = castTo<CmString>(names.at(i)))
      items_.add(make<PStudioSetupItem>(PStudioSetupItem::deviceCategory, name->view()).detach());
  return isComplete;
}

bool PStudioSetup::write(FStream& stream) const
{
  FObjectList names;
  for (const CmObject* item : items_)
    if (itemOf(item).category == PStudioSetupItem::deviceCategory)
      names.append(make<CmString>(itemOf(item).name.view()).detach(), true);
  return names.write(stream);
}

bool PStudioSetup::storeAttributes(FAttributes& attributes) const
{
  for (CmObject* item : items_)
    attributes.appendObject(keyItems, Ref<CmObject>::share(item).detach(), true);
  return true;
}

bool PStudioSetup::loadAttributes(const FAttributes& attributes)
{
  items_.removeAll();
  const auto* list = castTo<FObjectList>(attributes.getList(keyItems));
  for (uint32_t i = 0; list && i < list->count(); ++i)
    if (auto* item = castTo<PStudioSetupItem>(resolveObject(list->at(i))))
      items_.add(Ref<CmObject>::share(item).detach());
  return true;
}

} // namespace orbi
