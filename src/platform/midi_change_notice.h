#pragma once

#include <atomic>
#include <functional>
#include <utility>

namespace orbi::platform {

/// Tells once that something changed, until somebody has looked. The handler is set before the
/// first change can be.
class MidiChangeNotice {
public:
  void setHandler(std::function<void()> handler) { handler_ = std::move(handler); }
  void changed() ///< any thread
  {
    if (!told_.exchange(true) && handler_)
      handler_();
  }
  void look() { told_.store(false); } ///< before looking, so that nothing slips through

private:
  std::function<void()> handler_;
  std::atomic<bool> told_{false};
};

} // namespace orbi::platform
