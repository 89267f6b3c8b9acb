#include "ui/application.h"

#include "foundation/class_registry.h"
#include "foundation/startup_records.h"
#include "platform/clock.h"
#include "ui/views/desktop.h"

#include <algorithm>

namespace orbi {

CM_REGISTER_ABSTRACT(UApplication);

UApplication::UApplication(const char* title) : title_(title)
{
  instance_ = this;
  messenger_.setWakeUp(platform::RunLoop::wakeInstance);
  dependencies_.setWakeUp(platform::RunLoop::wakeInstance);
}

UApplication::~UApplication()
{
  setWindowSystem(nullptr);
  messenger_.setWakeUp(nullptr);
  dependencies_.setWakeUp(nullptr);
  instance_ = nullptr;
}

void UApplication::run()
{
  if (!preInitialize()) { // nothing has begun that a terminator could end
    setQuit();
    dropStartupRecords();
    return;
  }
  startIdleTimer(); // questions may come during the start
  startup();
  if (!isQuitting() && enterRunState())
    messageLoop();
  runLoop_.removeTimer(idleTimer_);
  idleTimer_ = 0;
  if (desktop_)
    desktop_->closeAll(); // while the settings can take what they have to keep
  beforeQuit();
}

bool UApplication::preInitialize()
{
  DeferredRegistration::runAll();
  return FPreInitializer::runAll();
}

bool UApplication::enterRunState()
{
  return FPostInitializer::runAll();
}

void UApplication::beforeQuit()
{
  FTerminator::runAll();
  dropStartupRecords();
}

void UApplication::messageLoop()
{
  wantIdle();
  while (!isQuitting() && !runLoop_.quitRequested())
    turn(platform::RunLoop::forever);
}

bool UApplication::turn(int64_t milliseconds)
{
  const bool happened = runLoop_.runOnce(milliseconds);
  if (idleWanted_.exchange(false, std::memory_order_relaxed))
    idle();
  runPasses();
  return happened;
}

void UApplication::handlePending()
{
  runPasses(); // what was just changed is invalid before the windows draw
  for (int turns = 0; turns < 100 && turn(0); ++turns) {}
}

void UApplication::runModal(const std::function<bool()>& goesOn, int64_t milliseconds)
{
  while (goesOn() && !isQuitting() && !runLoop_.quitRequested())
    turn(milliseconds);
}

void UApplication::waitForPaint(const UWindow& window)
{
  constexpr int64_t patience = 100; // milliseconds; nobody promises that it is ever seen
  const int64_t end = platform::steadyNanoseconds() + patience * 1'000'000;
  runModal(
      [&] { return window.isOpen() && !window.isPainted() && platform::steadyNanoseconds() < end; },
      patience / 10);
}

void UApplication::runPasses()
{
  dependencies_.flush();
  messenger_.dispatch();
  dependencies_.flush();
}

// Windows

void UApplication::setWindowSystem(std::unique_ptr<platform::WindowSystem> system)
{
  desktop_ = nullptr;
  icon_ = nullptr; // made by the former one
  windowSystem_ = std::move(system);
  if (windowSystem_)
    desktop_ = make<UDesktop>(*windowSystem_);
}

void UApplication::borrowWindowSystem(platform::WindowSystem& system)
{
  setWindowSystem(nullptr);
  desktop_ = make<UDesktop>(system);
}

void UApplication::setWaitState(int32_t state)
{
  waitState_ = state;
  if (desktop_)
    desktop_->showBusy(state != 0);
}

// Idle

void UApplication::addIdle(CmObject* receiver)
{
  if (receiver)
    idleReceivers_.push_back(receiver);
}

void UApplication::removeIdle(CmObject* receiver)
{
  std::replace(idleReceivers_.begin(), idleReceivers_.end(), receiver,
               static_cast<CmObject*>(nullptr));
}

void UApplication::setIcon(std::unique_ptr<platform::Image> icon)
{
  icon_ = std::move(icon);
}

void UApplication::wantIdleEvery(int64_t milliseconds)
{
  if (milliseconds >= idlePeriod_)
    return;
  idlePeriod_ = milliseconds;
  if (idleTimer_ == 0)
    return; // the loop will begin so
  runLoop_.removeTimer(idleTimer_);
  startIdleTimer();
}

void UApplication::wantIdle()
{
  idleWanted_.store(true, std::memory_order_relaxed);
  platform::RunLoop::wakeInstance();
}

void UApplication::startIdleTimer()
{
  idleTimer_ = runLoop_.addTimer(idlePeriod_, [this] { idle(); });
}

void UApplication::idle()
{
  FMessage message("Idle");
  message.setInt("CurrentTicks", platform::steadyNanoseconds() / 1000000);
  // By index: a receiver may add or remove others, or itself.
  for (size_t i = 0; i < idleReceivers_.size(); ++i)
    if (idleReceivers_[i])
      idleReceivers_[i]->handleMessage(message);
  std::erase(idleReceivers_, nullptr);
}

} // namespace orbi
