#pragma once

#include "foundation/dependency_table.h"
#include "foundation/lock.h"
#include "foundation/object.h"

#include <deque>
#include <vector>

namespace orbi {

/// What a dependent that is only an interface answers to; its fourth operation is the call.
class IDependent : public FUnknown {
public:
  virtual void update(FUnknown* subject, int32_t code) = 0;

protected:
  ~IDependent() = default;
};

/// Change notices for subjects and dependents that are only interfaces. Made and destroyed with the
/// start-up records of its name; the rules are those of FDependencies.
class FPlugDependencies final : public CmClass<FPlugDependencies, CmObject> {
public:
  static constexpr const char* className = "FPlugDependencies";

  FPlugDependencies();
  ~FPlugDependencies() override;
  FPlugDependencies(const FPlugDependencies&) = delete;

  static FPlugDependencies* instance() { return instance_; }

  void addDependent(FUnknown* subject, IDependent* dependent);
  void removeDependent(FUnknown* subject, IDependent* dependent); ///< either may be null: all
  bool hasDependents(const FUnknown* subject);

  using CmObject::addDependent;
  using CmObject::changed;
  using CmObject::deferChanged;
  using CmObject::removeDependent;
  bool changed(FUnknown* subject, int32_t code);
  void deferChanged(FUnknown* subject, int32_t code); ///< holds a reference until it is delivered
  void flush();                                       ///< main thread

private:
  struct Notice {
    FUnknown* subject;
    int32_t code;
  };
  std::vector<FUnknown*> takeDeferred(const FUnknown* subject);

  static inline FPlugDependencies* instance_ = nullptr;

  FLock lock_{"FPlugDependencies"};
  FDependencyTable<FUnknown, IDependent, 16, 8> table_;
  std::deque<Notice> deferred_;
};

} // namespace orbi
