#pragma once

#include "foundation/b_tree.h"
#include "foundation/object.h"
#include "foundation/ref.h"

namespace orbi {

/// Static description of one registered class, or of an alias of one. Never copied, never freed.
class CmClassInfo final : public CmObject {
public:
  using Create = CmObject* (*)();
  using Parent = const CmClassInfo* (*)();

  /// Enters itself in the registry. The parent is asked for only when it is needed, since static
  /// initialisers run in an unknown order; create is null for abstract classes.
  CmClassInfo(const char* name, Parent parent, Create create, uint16_t size, uint16_t version);
  /// An alias: another name under which the target can be created.
  CmClassInfo(CmClassInfo& target, const char* alias);
  CmClassInfo(const CmClassInfo&) = delete;

  const char* name() const { return name_; }
  const char* aliasName() const { return aliasName_; } ///< equals name() without an alias
  const CmClassInfo* parent() const { return parent_ ? parent_() : nullptr; }
  uint16_t size() const { return size_; }
  uint16_t version() const { return version_; }
  Create create() const { return create_; }

  int compare(const CmObject* other) const override; ///< by name, bytes unsigned

private:
  const char* name_;
  const char* aliasName_;
  Parent parent_;
  Create create_;
  uint16_t size_;
  uint16_t version_;
};

/// All registered classes by name. Made by the first registration, before main; written until the
/// start is done and read without a lock afterwards.
class CmClassRegistry {
public:
  static CmClassRegistry* instance() { return instance_; }
  static void insert(CmClassInfo& info);
  static void destroyInstance(); ///< last clean-up step of the process; the tables below, too

  const CmClassInfo* findClass(const char* name) const; ///< null when there is none
  Ref<CmObject> createObject(const char* name) const;   ///< null for unknown and abstract classes

private:
  static inline CmClassRegistry* instance_ = nullptr;
  CmBTree classes_{3};
};

/// Creates by name through the registry and checks the class; null otherwise.
template <class T>
Ref<T> createAs(const char* name)
{
  CmClassRegistry* registry = CmClassRegistry::instance();
  Ref<CmObject> object = registry ? registry->createObject(name) : nullptr;
  return castTo<T>(object.get()) ? Ref<T>::adopt(static_cast<T*>(object.detach())) : nullptr;
}

// Class factories by interface id: the first exact match is called.
void registerClassFactory(const FUID& id, CmClassInfo::Create create);
Ref<CmObject> createByUID(const FUID& id);

// Views of generic object viewers: the first record of the object's class, then of its parents.
using CreateClassView = CmObject* (*)(CmObject* object);
void registerClassView(const char* className, CreateClassView create);
Ref<CmObject> createViewFor(CmObject* object);

/// Static record of a registration that waits for the application's start.
class DeferredRegistration {
public:
  using Function = void (*)();
  explicit DeferredRegistration(Function function);

  static void runAll(); ///< in order of addition, then forgets them
};

} // namespace orbi

#define CM_REGISTER_AS(Class, create, version)                                                     \
  static ::orbi::CmClassInfo Class##Info{Class::className,                                         \
                                         [] { return Class::Super::staticInfo(); }, create,        \
                                         sizeof(Class), version};                                  \
  [[maybe_unused]] static const bool Class##Registered = (Class::info = &Class##Info, true)

/// The one line that makes a class creatable by name; in its .cpp, inside the namespace.
#define CM_REGISTER(Class) CM_REGISTER_VERSION(Class, 0)
#define CM_REGISTER_VERSION(Class, version)                                                        \
  CM_REGISTER_AS(                                                                                  \
      Class, [] { return static_cast<::orbi::CmObject*>(new Class); }, version)
#define CM_REGISTER_ABSTRACT(Class) CM_REGISTER_AS(Class, nullptr, 0)
/// Another name for a class that the same file registers above.
#define CM_ALIAS(Class, alias)                                                                     \
  static ::orbi::CmClassInfo Class##Alias                                                          \
  {                                                                                                \
    Class##Info, alias                                                                             \
  }
