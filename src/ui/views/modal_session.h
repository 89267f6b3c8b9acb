#pragma once

#include "foundation/ref.h"

#include <cstdint>
#include <functional>

namespace orbi {

class UDesktop;
class UWindow;

/// A dialog of the desktop's own, which is no window of ours. While this lives the windows that are
/// open stand back as behind a modal dialog; one of ours that opens meanwhile lies above it. Main
/// thread; in the order of the stack.
class UModalSession {
public:
  explicit UModalSession(UDesktop& desktop);
  UModalSession(const UModalSession&) = delete;
  ~UModalSession(); ///< the keys go back to what is in front

  /// Turns of the loop with all that follows each, while this holds. Ends with the program and with
  /// the owner as well, null for none, and when it is cancelled.
  void run(UWindow* owner, const std::function<bool()>& goesOn);
  /// The user wants a window behind it back: the dialog may never have come.
  void cancel() { isCancelled_ = true; }

private:
  friend class UDesktop;

  Ref<UDesktop> desktop_;
  UModalSession* former_;
  int64_t order_; ///< among all that was modal
  bool isCancelled_ = false;
};

} // namespace orbi
