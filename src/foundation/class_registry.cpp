#include "foundation/class_registry.h"

#include <cstring>
#include <utility>
#include <vector>

namespace orbi {

namespace {

struct ClassFactory final : CmObject {
  ClassFactory(const FUID& uid, CmClassInfo::Create function) : id(uid), create(function) {}
  FUID id;
  CmClassInfo::Create create;
};

struct ClassView {
  const char* className;
  CreateClassView create;
};

// Filled from the application's start on.
constinit std::vector<ClassFactory> classFactories;
constinit std::vector<ClassView> classViews;

// Filled by static initialisers of many files, so it is made on the first addition.
std::vector<DeferredRegistration::Function>* deferredFunctions = nullptr;

} // namespace

CmClassInfo::CmClassInfo(const char* name, Parent parent, Create create, uint16_t size,
                         uint16_t version)
    : name_(name), aliasName_(name), parent_(parent), create_(create), size_(size),
      version_(version)
{
  CmClassRegistry::insert(*this);
}

CmClassInfo::CmClassInfo(CmClassInfo& target, const char* alias)
    : name_(alias), aliasName_(alias), parent_(nullptr), create_(target.create_), size_(0),
      version_(0)
{
  CmClassRegistry::insert(*this);
  target.aliasName_ = alias;
}

int CmClassInfo::compare(const CmObject* other) const
{
  int order = std::strcmp(name_, static_cast<const CmClassInfo*>(other)->name_);
  return (order > 0) - (order < 0);
}

void CmClassRegistry::insert(CmClassInfo& info)
{
  if (!instance_)
    instance_ = new CmClassRegistry;
  instance_->classes_.add(&info);
}

void CmClassRegistry::destroyInstance()
{
  classFactories.clear();
  classViews.clear();
  delete std::exchange(instance_, nullptr);
}

const CmClassInfo* CmClassRegistry::findClass(const char* name) const
{
  if (!name)
    return nullptr;
  return static_cast<const CmClassInfo*>(classes_.findBy([name](const CmObject* item) {
    return std::strcmp(static_cast<const CmClassInfo*>(item)->name(), name);
  }));
}

Ref<CmObject> CmClassRegistry::createObject(const char* name) const
{
  const CmClassInfo* found = findClass(name);
  return found && found->create() ? Ref<CmObject>::adopt(found->create()()) : nullptr;
}

void registerClassFactory(const FUID& id, CmClassInfo::Create create)
{
  classFactories.emplace_back(id, create);
}

Ref<CmObject> createByUID(const FUID& id)
{
  for (const ClassFactory& factory : classFactories)
    if (factory.id == id)
      return Ref<CmObject>::adopt(factory.create());
  return nullptr;
}

void registerClassView(const char* className, CreateClassView create)
{
  classViews.push_back({className, create});
}

Ref<CmObject> createViewFor(CmObject* object)
{
  if (!object || classViews.empty())
    return nullptr;
  for (const CmClassInfo* info = object->getClassInfo(); info; info = info->parent())
    for (const ClassView& view : classViews)
      if (std::strcmp(view.className, info->name()) == 0)
        return Ref<CmObject>::adopt(view.create(object));
  return nullptr;
}

DeferredRegistration::DeferredRegistration(Function function)
{
  if (!deferredFunctions)
    deferredFunctions = new std::vector<Function>;
  deferredFunctions->push_back(function);
}

void DeferredRegistration::runAll()
{
  std::vector<Function>* functions = std::exchange(deferredFunctions, nullptr);
  if (!functions)
    return;
  for (Function function : *functions)
    function();
  delete functions;
}

} // namespace orbi
