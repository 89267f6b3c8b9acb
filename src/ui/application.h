#pragma once

#include "foundation/array.h"
#include "foundation/dependencies.h"
#include "foundation/lock.h"
#include "foundation/message.h"
#include "foundation/messenger.h"
#include "foundation/ref.h"
#include "foundation/string.h"
#include "platform/run_loop.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace orbi {

namespace platform {
class Image;
class WindowSystem;
} // namespace platform
class UDesktop;
class UView;
class UWindow;
struct UKeyCode;
struct UWindowMessage;

/// The process's application: its main loop, its idle list and its wish to quit. Main thread, but
/// for what says otherwise.
class UApplication : public CmClass<UApplication, CmObject> {
public:
  static constexpr const char* className = "UApplication";
  /// A wake-up costs fifty times what idle does, so whoever needs it soon asks for it.
  static constexpr int64_t idleMilliseconds = 1000;
  static constexpr int64_t busyIdleMilliseconds = 20; ///< while somebody asked for it

  explicit UApplication(const char* title);
  UApplication(const UApplication&) = delete;
  ~UApplication() override;

  static UApplication* instance() { return instance_; }

  const CmString& title() const { return title_; }
  FRecursiveLock& lock() { return lock_; }

  // Running
  void run(); ///< startup, then the message loop, then the end
  void setQuit()
  {
    quit_.store(true, std::memory_order_relaxed);
  } ///< ends the loop at its next turn
  bool isQuitting() const { return quit_.load(std::memory_order_relaxed); }
  /// What follows each event: deferred changes, posted messages, deferred changes.
  void runPasses();

  // Idle
  void addIdle(CmObject* receiver); ///< borrowed; it hears "Idle" until it is removed
  void removeIdle(CmObject* receiver);
  void wantIdleEvery(int64_t milliseconds); ///< somebody needs it that often from now on
  void wantBusyIdle() { wantIdleEvery(busyIdleMilliseconds); }
  static void wantIdle(); ///< the next one comes at once. Any thread, never blocks

  // Whether a value that begins to show another one says so at once, not on the next pass
  bool usesDirectUpdates() const { return directUpdates_; }
  void setUsesDirectUpdates(bool on) { directUpdates_ = on; }

  // Wait state: the pointer that says that the program is at work
  virtual bool canWait() const { return desktop_.get() != nullptr; } ///< whether it is shown
  int32_t waitState() const { return waitState_; }
  void setWaitState(int32_t state); ///< 0: ready

  // Windows: none until there is a window system
  void setWindowSystem(std::unique_ptr<platform::WindowSystem> system); ///< null closes them all
  void borrowWindowSystem(platform::WindowSystem& system); ///< outlives the application
  UDesktop* desktop() const { return desktop_.get(); }
  void setIcon(std::unique_ptr<platform::Image> icon);  ///< of the main windows, from now on
  platform::Image* icon() const { return icon_.get(); } ///< null for none
  /// With a modal window open, no other one comes to the front.
  bool isSingleWindow() const { return singleWindow_; }
  void setSingleWindow(bool on) { singleWindow_ = on; }
  virtual bool canCloseWindows() const { return true; } ///< false in a state that forbids it

  /// Turns of the loop with all that follows each, while this holds and the program doesn't quit.
  /// Each turn waits so long for something to happen.
  void runModal(const std::function<bool()>& goesOn,
                int64_t milliseconds = platform::RunLoop::forever);
  /// Turns until the window shows itself, so that a long piece of work finds it drawn; 0.1 s at
  /// most.
  void waitForPaint(const UWindow& window);
  void handlePending(); ///< turns for what waits, from within a long piece of work

  // Who gets what before, beside and after the windows
  using PreFilter = std::function<bool(const UWindowMessage&)>;
  using KeyHandler = std::function<bool(const UKeyCode&)>;
  const PreFilter& preFilter() const { return preFilter_; }
  void setPreFilter(PreFilter filter) { preFilter_ = std::move(filter); } ///< true ends a message
  const KeyHandler& keyFilter() const { return keyFilter_; }
  void setKeyFilter(KeyHandler filter) { keyFilter_ = std::move(filter); } ///< first of all
  const KeyHandler& keyCommands() const { return keyCommands_; }
  void setKeyCommands(KeyHandler handler) { keyCommands_ = std::move(handler); } ///< last of all
  bool prefersKeyCommands() const { return prefersKeyCommands_; }
  /// Key commands come before documents, their menu bars and panels.
  void setPrefersKeyCommands(bool on) { prefersKeyCommands_ = on; }
  UView* activeControl() const { return activeControl_; } ///< that has the keys; null for none
  void setActiveControl(UView* control) { activeControl_ = control; }

protected:
  // The steps of run, in their order
  virtual bool preInitialize(); ///< the first list of start-up records
  virtual void startup() = 0;
  virtual bool enterRunState(); ///< the third list
  virtual void beforeQuit();    ///< the terminators
  virtual void idle();

private:
  void messageLoop();
  bool turn(int64_t milliseconds); ///< of the loop, with all that follows it
  void startIdleTimer();

  static inline UApplication* instance_ = nullptr;

  CmString title_;
  FRecursiveLock lock_{"UApplication"};
  platform::RunLoop runLoop_;
  FMessenger messenger_;
  FDependencies dependencies_;
  std::vector<CmObject*> idleReceivers_; ///< null where one left during the walk
  platform::RunLoop::TimerId idleTimer_ = 0;
  int64_t idlePeriod_ = idleMilliseconds;
  static inline std::atomic<bool> idleWanted_{false}; ///< whoever sets it wakes the loop
  bool directUpdates_ = false;
  std::atomic<bool> quit_{false};
  int32_t waitState_ = 0;

  std::unique_ptr<platform::WindowSystem> windowSystem_; ///< null when it is borrowed
  Ref<UDesktop> desktop_;
  std::unique_ptr<platform::Image> icon_;
  PreFilter preFilter_;
  KeyHandler keyFilter_;
  KeyHandler keyCommands_;
  UView* activeControl_ = nullptr; ///< borrowed; a view that goes takes itself off
  bool singleWindow_ = false;
  bool prefersKeyCommands_ = false;
};

} // namespace orbi
