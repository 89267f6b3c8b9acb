#pragma once

#include <cstdint>
#include <vector>

namespace orbi {

class PPort;

/// What the registry tells, to its listeners and as the code of its change notice.
enum PPortNotice : int32_t {
  noticePortSet = 100,       ///< ports came or went
  noticePortName = 101,      ///< the user named a port
  noticePortVisibility = 102 ///< a port was shown or hidden
};

/// Hears of changes to ports, on the main thread. May leave while it is told, and make others
/// leave.
class PPortListener {
public:
  virtual void portChanged(PPort* port, PPortNotice notice) = 0;

protected:
  ~PPortListener() = default;
};

/// Listeners, borrowed, in order of addition. Who is removed is not called any more, not even by a
/// round that is under way; who is added during one waits for the next.
class PPortListeners {
public:
  bool add(PPortListener* listener); ///< false for null and for one that is there
  bool remove(PPortListener* listener);
  void tell(PPort* port, PPortNotice notice);

private:
  std::vector<PPortListener*> listeners_; ///< null where one left during a round
  int rounds_ = 0;                        ///< under way, each from within the one before
};

} // namespace orbi
