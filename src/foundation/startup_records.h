#pragma once

#include "foundation/object.h"

#include <vector>

namespace orbi {

/// Step of the application's start or stop. False stops the list in which it stands.
using StartupFunction = bool (*)();

/// The records below are statics in the source file of the class that they serve. Each enters
/// itself in its own list; running a list calls the functions in order up to the first false and
/// forgets the list, so none runs twice. An absent list counts as run. Main thread only.

/// What the records have in common. The name is for the debugger, unless a record looks at it.
template <class Self>
class FStartupRecord : public CmClass<Self, CmObject> {
public:
  static bool runAll();
  static void dropAll() { takeList(); }

protected:
  using List = std::vector<Self*>;

  FStartupRecord(StartupFunction function, const char* name) : function_(function), name_(name) {}
  static void enter(Self* record); ///< at the end of the list; by the constructor of each kind

  // Statics of many files add themselves in an unknown order, so it is made on its first add.
  static inline constinit List* list_ = nullptr;
  static List takeList(); ///< gone from then on

  StartupFunction function_;
  const char* name_;
};

/// First. Sorted by ascending priority; equal ones in order of addition.
class FPreInitializer final : public FStartupRecord<FPreInitializer> {
public:
  static constexpr const char* className = "FPreInitializer";
  FPreInitializer(StartupFunction function, const char* name, int32_t priority);

  int compare(const CmObject* other) const override; ///< by priority, among its kind

private:
  int32_t priority_;
};

/// Second. A record that names a predecessor waits until that one has run; what waits for a record
/// that never comes, or in a circle, runs at the end in list order.
class FInitializer final : public FStartupRecord<FInitializer> {
public:
  static constexpr const char* className = "FInitializer";
  FInitializer(StartupFunction function, const char* name, const char* predecessor = nullptr);

  static bool runAll();
  static bool hasRun(); ///< the initialised flag, set when a run begins

  /// By name; against a record with a predecessor this name is compared with that predecessor's,
  /// which is how a waiting record finds the one that it waits for.
  int compare(const CmObject* other) const override;

private:
  const char* predecessor_;
};

/// Third, when the application begins to run.
class FPostInitializer final : public FStartupRecord<FPostInitializer> {
public:
  static constexpr const char* className = "FPostInitializer";
  FPostInitializer(StartupFunction function, const char* name) : FStartupRecord(function, name)
  {
    enter(this);
  }
};

/// Last, during shutdown, while the windows still exist.
class FTerminator final : public FStartupRecord<FTerminator> {
public:
  static constexpr const char* className = "FTerminator";
  FTerminator(StartupFunction function, const char* name) : FStartupRecord(function, name)
  {
    enter(this);
  }
};

/// Forgets all four lists: the start failed or was told to stop.
void dropStartupRecords();

} // namespace orbi
