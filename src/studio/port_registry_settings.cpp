// What the registry keeps in the defaults store: the settings of system ports, also of those that
// aren't there now, and the mappings of identifiers.

#include "persist/default_pool.h"
#include "studio/port.h"
#include "studio/port_descriptor.h"
#include "studio/port_order.h"
#include "studio/port_registry.h"

#include <algorithm>
#include <vector>

namespace orbi {

namespace {

constexpr const char* group = "Port Setup";
constexpr const char* keySet = "PortSetup";
constexpr const char* keySettings = "Settings";
constexpr const char* keyMappings = "Mappings";
constexpr const char* keyID = "ID";
constexpr int32_t groupVersion = 0;

/// Walks the objects of one class in a list, whatever sort of list it was read as; what isn't of
/// the class, or couldn't be read, is left out.
template <class T, class Action>
void forEachIn(const FAttrList* list, const Action& action)
{
  for (uint32_t i = 0; list && i < list->count(); ++i) {
    AttributeVariant value = list->valueAt(i);
    CmObject* object = value.tag == tagObject ? resolveObject(objectBehind(value.object)) : nullptr;
    if (auto* item = castTo<T>(object))
      action(Ref<T>::share(item));
    value.clear();
  }
}

Ref<FAttributes> storedSet()
{
  FDefaultPool* pool = FDefaultPool::instance();
  FDefaults* stored = pool ? pool->getGroup(group, groupVersion, false) : nullptr;
  return Ref<FAttributes>::share(castTo<FAttributes>(stored ? stored->getObject(keySet) : nullptr));
}

} // namespace

void PPortRegistry::addSettings(Ref<FAttributes> entry)
{
  if (const char* id = entry->getString(keyID))
    settingsByID_.try_emplace(id, entry.get());
  settings_.add(entry.detach());
}

/// Under the identifier by which the port was known so far.
void PPortRegistry::storeSettings(const PPort& port)
{
  const std::string& id = index_.idOf(port);
  if (id.empty())
    return;
  auto known = settingsByID_.find(id);
  Ref<FAttributes> entry =
      known != settingsByID_.end() ? Ref<FAttributes>::share(known->second) : make<FAttributes>();
  entry->removeAll();
  entry->setString(keyID, id.c_str());
  port.writeSettings(*entry);
  if (known == settingsByID_.end())
    addSettings(std::move(entry));
}

void PPortRegistry::restoreSettings(PPort& port) const
{
  CmString id;
  if (settingsByID_.empty() || !port.getID(id))
    return;
  if (auto known = settingsByID_.find(std::string(id.view())); known != settingsByID_.end())
    port.readSettings(*known->second);
}

/// Other programs' ports come under ever new names. Of entries that hold no more than a name the
/// oldest go, those of ports that aren't there.
void PPortRegistry::dropOldPlain()
{
  std::vector<FAttributes*> plain;
  for (CmObject* item : settings_)
    if (auto* entry = static_cast<FAttributes*>(item); entry->count() == 1 && entry->has(keyID))
      plain.push_back(entry);
  size_t tooMany = plain.size() - std::min(plain.size(), mostPlainSettings);
  for (FAttributes* entry : plain) {
    const std::string id = entry->getString(keyID) ? entry->getString(keyID) : "";
    if (tooMany == 0)
      return;
    if (index_.find(id))
      continue;
    --tooMany;
    if (auto known = settingsByID_.find(id); known != settingsByID_.end() && known->second == entry)
      settingsByID_.erase(known); // a file may hold two of one port
    settings_.remove(entry);
  }
}

bool PPortRegistry::saveSettings()
{
  FDefaultPool* pool = FDefaultPool::instance();
  if (!pool)
    return false;
  for (CmObject* item : ports_)
    if (const auto* port = static_cast<PPort*>(item); port->isSubtype(systemPortKind))
      storeSettings(*port);

  dropOldPlain();
  auto set = make<FAttributes>();
  for (CmObject* entry : settings_)
    if (!static_cast<FAttributes*>(entry)->isEmpty())
      set->appendObject(keySettings, Ref<CmObject>::share(entry).detach(), true);
  for (CmObject* mapping : mappings_)
    set->appendObject(keyMappings, Ref<CmObject>::share(mapping).detach(), true);

  if (set->isEmpty())
    pool->removeGroup(group, groupVersion);
  else if (FDefaults* stored = pool->getGroup(group, groupVersion))
    stored->setObject(keySet, set.get(), false);
  else
    return false;
  return true;
}

bool PPortRegistry::loadSettings()
{
  const Ref<FAttributes> set = storedSet();
  if (!set)
    return false;
  settings_.removeAll();
  settingsByID_.clear();
  mappings_.removeAll();
  forEachIn<FAttributes>(set->getList(keySettings),
                         [this](Ref<FAttributes> entry) { addSettings(std::move(entry)); });
  forEachIn<PPortIDMapping>(set->getList(keyMappings), [this](Ref<PPortIDMapping> mapping) {
    mappings_.add(mapping.detach());
  });
  return true;
}

} // namespace orbi
