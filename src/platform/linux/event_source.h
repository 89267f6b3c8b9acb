#pragma once

namespace orbi::platform {

/// Something with a file descriptor that the run loop listens to on behalf of, say, a window
/// system.
class EventSource {
public:
  virtual ~EventSource() = default;
  virtual int descriptor() const = 0;

  /// Asked before each wait: true when events were read from the descriptor already and only wait
  /// to be dispatched. The place to send off what is buffered.
  virtual bool hasPending() = 0;

  virtual void dispatch() = 0; ///< handles what is there, without waiting
};

} // namespace orbi::platform
