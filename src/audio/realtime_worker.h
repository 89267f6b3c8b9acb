#pragma once

#include "platform/event.h"
#include "platform/lock.h"
#include "platform/thread.h"

#include <atomic>
#include <memory>
#include <optional>

namespace orbi {

/// Base of the audio device: one thread of its own that waits for a go, works and says done.
class RealtimeWorker {
public:
  virtual ~RealtimeWorker() = default;

  virtual bool start(); ///< makes events and thread; false when it runs already or can't be made
  virtual void stop();  ///< waits for the thread, at most stopMilliseconds
  virtual bool isAlive() const { return events_->alive.load(); }
  virtual void signalGo() { events_->go.set(); } ///< any thread, never blocks
  virtual bool waitGo();                         ///< whether it is still alive
  virtual void signalDone() { events_->done.set(); }
  virtual void waitDone() { events_->done.wait(); }
  virtual void spare() {}
  virtual void enter() { section_->enter(); }
  virtual void leave() { section_->leave(); }
  virtual void sleep(uint32_t milliseconds);
  virtual void run() = 0; ///< the thread's body

protected:
  static constexpr uint32_t stopMilliseconds = 1000;

  RealtimeWorker() = default;
  RealtimeWorker(const RealtimeWorker&) = delete;
  /// Its value stays with a thread that outlives its stop, which then finds false here and leaves
  /// without touching anything else.
  std::shared_ptr<const std::atomic<bool>> aliveFlag() const { return {events_, &events_->alive}; }
  /// Whether a thread outlived its stop. It ends by itself and works on nothing that stop took
  /// away.
  bool wasAbandoned() const { return abandoned_; }

private:
  struct Events {
    std::atomic<bool> alive{false};
    platform::Event go{platform::EventReset::automatic};
    platform::Event done{platform::EventReset::automatic};
  };

  std::shared_ptr<Events> events_ =
      std::make_shared<Events>(); ///< shared with a thread that outlives its stop
  platform::ThreadHandle thread_;
  std::optional<platform::RecursiveLock>
      section_; ///< made with the thread; not taken by the device
  bool abandoned_ = false;
};

} // namespace orbi
