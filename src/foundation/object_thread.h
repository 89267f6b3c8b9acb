#pragma once

#include "foundation/object.h"
#include "foundation/ref.h"
#include "foundation/thread.h"

namespace orbi {

/// Runs the message "threadEntry" of an object on a thread and afterwards posts "threadFinished" to
/// it, both with the integer "id", so that it hears on the main thread that the job has ended.
/// Keeps the object alive meanwhile. The object removes itself from the messenger when it is
/// destroyed, as whoever receives posts does.
///
/// The thread owns the reference with which this is made and releases it at its end. Whoever wants
/// to keep it, defers the start and retains it before. Its class name is that of the message side.
class FThread final : public FThreadBase, public CmClass<FThread, CmObject> {
public:
  static constexpr const char* className = "FNotifiyInThread";

  /// Starts at once under the name "FThread" unless that is deferred; then by start(getName()).
  FThread(CmObject* target, const char* name, uint32_t id, bool deferStart);

  uint32_t run() override;
  const char* getName() const override;
  void destroy() override { releaseRef(); }
  using CmObject::destroy;

private:
  ~FThread() override = default;

  CmObject* const target_; ///< borrowed until the thread runs; may be null
  const CmString givenName_;
  const uint32_t id_;
};

} // namespace orbi
