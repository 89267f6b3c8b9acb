#pragma once

#include <cstdint>

namespace orbi::platform {

/// Real-time scheduling for threads that carry audio. Everything is done on the thread itself, by
/// one thread: it enters, and the same thread leaves. Talks to a system service where the process
/// lacks the right of its own, so not once a block but once when the thread begins.
class RealtimeClass {
public:
  enum class Level { high, critical };

  /// True only if the thread really runs in real time afterwards. A thread that somebody else has
  /// raised already, as high or higher, keeps what it has.
  bool enter(Level level);

  /// Back to what the thread was before; false when it hadn't entered or can't be taken back.
  bool leave();

  bool entered() const { return entered_; }

private:
  bool entered_ = false;
  int formerPolicy_ = 0;
  int formerPriority_ = 0;
};

} // namespace orbi::platform
