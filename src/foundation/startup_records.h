#pragma once

#include "foundation/object.h"

namespace orbi {

/// Step of the application's start or stop. False stops the list in which it stands.
using StartupFunction = bool (*)();

/// The records below are statics in the source file of the class that they serve. Each enters
/// itself in its own list; running a list calls the functions in order up to the first false and
/// forgets the list, so none runs twice. An absent list counts as run. Main thread only.

/// First. Sorted by ascending priority; equal ones in order of addition.
class FPreInitializer final : public CmClass<FPreInitializer, CmObject> {
public:
  static constexpr const char* className = "FPreInitializer";
  FPreInitializer(StartupFunction function, const char* name, int32_t priority);

  static bool runAll();
  static void dropAll();

  int compare(const CmObject* other) const override; ///< by priority, among its kind

private:
  StartupFunction function_;
  const char* name_;
  int32_t priority_;
};

/// Second. A record that names a predecessor waits until that one has run; what waits for a record
/// that never comes, or in a circle, runs at the end in list order.
class FInitializer final : public CmClass<FInitializer, CmObject> {
public:
  static constexpr const char* className = "FInitializer";
  FInitializer(StartupFunction function, const char* name, const char* predecessor = nullptr);

  static bool runAll();
  static void dropAll();
  static bool hasRun(); ///< the initialised flag, set when a run begins

  /// By name; against a record with a predecessor this name is compared with that predecessor's,
  /// which is how a waiting record finds the one that it waits for.
  int compare(const CmObject* other) const override;

private:
  StartupFunction function_;
  const char* name_;
  const char* predecessor_;
};

/// Third, when the application begins to run.
class FPostInitializer final : public CmClass<FPostInitializer, CmObject> {
public:
  static constexpr const char* className = "FPostInitializer";
  FPostInitializer(StartupFunction function, const char* name);

  static bool runAll();
  static void dropAll();

private:
  StartupFunction function_;
  const char* name_; ///< held for the debugger, the runner doesn't look at it
};

/// Last, during shutdown, while the windows still exist.
class FTerminator final : public CmClass<FTerminator, CmObject> {
public:
  static constexpr const char* className = "FTerminator";
  FTerminator(StartupFunction function, const char* name);

  static bool runAll();
  static void dropAll();

private:
  StartupFunction function_;
  const char* name_;
};

/// Forgets all four lists: the start failed or was told to stop.
void dropStartupRecords();

} // namespace orbi
