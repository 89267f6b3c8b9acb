#include "persist/default_pool.h"

#include "foundation/class_registry.h"
#include "foundation/memory_stream.h"
#include "persist/object_files.h"

#include <algorithm>
#include <cstdlib>

namespace orbi {

CM_REGISTER_ABSTRACT(FDefaultPool); // one, made by the application

FDefaultPool::~FDefaultPool()
{
  if (instance_ == this)
    instance_ = nullptr;
}

// ---- groups ----

FDefaults* FDefaultPool::getGroup(const char* name, int32_t version, bool create)
{
  if (closed_ || !name || !*name)
    return nullptr;
  FDefaults wanted(name, version);
  while (auto* found = static_cast<FDefaults*>(entries_.find(&wanted))) { // a file may hold two
    if (found->version() == version)
      return found;
    entries_.remove(found);
  }
  if (!create)
    return nullptr;
  auto made = make<FDefaults>(name, version);
  FDefaults* group = made.get();
  entries_.add(made.detach());
  return group;
}

void FDefaultPool::removeGroup(const char* name, int32_t version)
{
  FDefaults wanted(name, version);
  auto* found = static_cast<FDefaults*>(entries_.find(&wanted));
  if (found && found->version() == version)
    entries_.remove(found);
}

void FDefaultPool::addAutoSaver(CmObject* object)
{
  if (object)
    autoSavers_.push_back(object);
}

void FDefaultPool::removeAutoSaver(CmObject* object)
{
  std::erase(autoSavers_, object);
}

// ---- start ----

void FDefaultPool::load(FObjectFiles& files)
{
  files.load(fileName, fileName, *this);
}

void FDefaultPool::finishLoading()
{
  if (registryVersion_ >= 0)
    loadOldAutoSavers();
  oldSettings_ = nullptr;
  if (savedAutoState_)
    for (CmObject* saver : autoSavers_)
      if (auto* state = savedAutoState_->getObject<FAttributes>(saver->getClassName()))
        saver->loadAttributes(*state);
  savedAutoState_ = nullptr;
  for (size_t i = 0; i < loadCallbacks_.size(); ++i) // one may add another
    loadCallbacks_[i]();
  loaded_ = true;
}

// ---- end ----

bool FDefaultPool::save(FObjectFiles& files, bool runCallbacks)
{
  if (!loaded_)
    return false;
  if (runCallbacks)
    for (size_t i = 0; i < saveCallbacks_.size(); ++i)
      saveCallbacks_[i]();
  files.save(fileName, fileName, *this);
  return true;
}

void FDefaultPool::closePool()
{
  entries_.removeAll();
  autoSavers_.clear();
  closed_ = true;
}

// ---- on disk ----

bool FDefaultPool::storeAttributes(FAttributes& attributes) const
{
  for (uint32_t i = 0; i < entries_.count(); ++i)
    if (auto* group = static_cast<FDefaults*>(entries_.at(static_cast<int32_t>(i)));
        !group->isEmpty())
      attributes.appendObject("Entries", group, false);
  if (autoSavers_.empty())
    return true;
  auto states = make<FAttributes>();
  for (CmObject* saver : autoSavers_) {
    auto state = make<FAttributes>();
    if (saver->storeAttributes(*state))
      states->setObject(saver->getClassName(), state.detach(), ObjectMode::adopted);
  }
  attributes.setObject("AutoSavers", states.detach(), ObjectMode::adopted);
  return true;
}

bool FDefaultPool::loadAttributes(const FAttributes& attributes)
{
  entries_.removeAll();
  auto* list = castTo<FObjectList>(attributes.getList("Entries"));
  for (uint32_t i = 0; list && i < list->count(); ++i)
    if (auto* group = castTo<FDefaults>(resolveObject(list->at(i)))) {
      group->retain();
      entries_.add(group);
    }
  savedAutoState_ = Ref<FAttributes>::share(attributes.getObject<FAttributes>("AutoSavers"));
  return true;
}

// ---- old settings ----

std::string FDefaultPool::oldSettingsPath(const std::string& company, const std::string& product,
                                          int32_t form)
{
  std::string path = "Software\\" + company + "\\" + product + "\\Defaults";
  return form > 0 ? path + "(" + std::to_string(form) + ")" : path;
}

namespace {

constexpr const char* autoSaverKey = "AutoSavers";

/// The number at the beginning of a text.
bool parseNumber(const std::optional<std::string>& text, int32_t& number)
{
  if (!text)
    return false;
  char* end = nullptr;
  long value = std::strtol(text->c_str(), &end, 10);
  if (end == text->c_str() || value < INT32_MIN || value > INT32_MAX)
    return false;
  number = static_cast<int32_t>(value);
  return true;
}

Ref<CmObject> readOldObject(FStream& stream)
{
  CmString name;
  if (!name.read(stream))
    return nullptr;
  Ref<CmObject> object = createAs<CmObject>(name.text());
  return object && object->read(stream) ? std::move(object) : nullptr;
}

enum OldTag { oldInt = 0, oldObject = 1, oldDouble = 2, oldString = 3 };

/// A value that older programs wrote as a small stream: a tag, then what it says.
bool setOldValue(FAttributes& values, const std::string& name, const std::string& bytes)
{
  FMemoryStream stream;
  stream.write(bytes.data(), static_cast<int64_t>(bytes.size()));
  stream.rewind();
  int32_t tag = -1;
  int32_t integer = 0;
  double number = 0.0;
  CmString text;
  Ref<CmObject> object;
  if (!stream.readInt32(tag))
    return false;
  switch (tag) {
  case oldInt:
    return stream.readInt32(integer) && values.setInt(name.c_str(), integer);
  case oldObject:
    object = readOldObject(stream);
    return object && values.setObject(name.c_str(), object.detach(), ObjectMode::adopted);
  case oldDouble:
    return stream.readDouble(number) && values.setDouble(name.c_str(), number);
  case oldString:
    return text.read(stream) && values.setString(name.c_str(), text.text());
  default:
    return false;
  }
}

} // namespace

void FDefaultPool::importOldSettings(std::unique_ptr<platform::OldSettingsKey> key, int32_t form)
{
  int32_t found = -1;
  if (!key || !parseNumber(key->defaultText(), found) || found != form)
    return;
  registryVersion_ = form;
  for (const std::string& name : key->subKeys())
    if (name != autoSaverKey)
      if (auto subKey = key->open(name))
        loadOldKey(*subKey, name);
  oldSettings_ = std::move(key);
}

void FDefaultPool::loadOldKey(const platform::OldSettingsKey& key, const std::string& name)
{
  int32_t version = 0;
  parseNumber(key.defaultText(), version);
  for (const auto& value : key.values())
    takeOldValue(value, name, version);
  for (const std::string& below : key.subKeys())
    if (auto subKey = key.open(below))
      loadOldKey(*subKey, name + "\\" + below);
}

/// A group is made only when there is a value for it.
void FDefaultPool::takeOldValue(const platform::OldSettingsKey::Value& value,
                                const std::string& group, int32_t version)
{
  using Kind = platform::OldSettingsKey::Value::Kind;
  FAttributes taken;
  bool known = value.kind == Kind::text
                   ? taken.setString(value.name.c_str(), value.content.c_str())
                   : value.kind == Kind::bytes && setOldValue(taken, value.name, value.content);
  if (FDefaults* target = known ? getGroup(group.c_str(), version) : nullptr)
    target->takeValues(taken);
}

void FDefaultPool::loadOldAutoSavers()
{
  auto key = oldSettings_ ? oldSettings_->open(autoSaverKey) : nullptr;
  if (!key)
    return;
  std::vector<platform::OldSettingsKey::Value> values = key->values();
  for (CmObject* saver : autoSavers_)
    for (const auto& value : values)
      if (value.name == saver->getClassName() && !value.content.empty()) {
        FMemoryStream stream;
        stream.write(value.content.data(), static_cast<int64_t>(value.content.size()));
        stream.rewind();
        saver->read(stream);
      }
}

} // namespace orbi
