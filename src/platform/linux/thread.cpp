#include "platform/thread.h"

#include "platform/event.h"

#include <atomic>
#include <charconv>
#include <dirent.h>
#include <pthread.h>
#include <sched.h>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace orbi::platform {

// Threads by number

ThreadId currentThreadId()
{
  return static_cast<ThreadId>(gettid());
}

std::size_t listThreadIds(std::span<ThreadId> ids)
{
  std::size_t count = 0;
  DIR* folder = opendir("/proc/self/task");
  if (folder == nullptr)
    return 0;
  while (const dirent* entry = count < ids.size() ? readdir(folder) : nullptr) {
    const std::string_view name = entry->d_name;
    ThreadId id = 0;
    if (std::from_chars(name.data(), name.data() + name.size(), id).ec == std::errc() && id != 0)
      ids[count++] = id;
  }
  closedir(folder);
  return count;
}

// Affinity

static std::uint64_t lowMask(const cpu_set_t& processors)
{
  std::uint64_t mask = 0;
  for (int bit = 0; bit < 64; ++bit)
    if (CPU_ISSET(bit, &processors))
      mask |= std::uint64_t{1} << bit;
  return mask;
}

/// The kernel keeps processors by thread alone. The main thread, which nobody restricts, stands for
/// the process.
static bool processorsOfProcess(cpu_set_t& processors)
{
  CPU_ZERO(&processors);
  return sched_getaffinity(getpid(), sizeof processors, &processors) == 0;
}

std::uint64_t processAffinity()
{
  cpu_set_t processors;
  return processorsOfProcess(processors) ? lowMask(processors) : 0;
}

bool setThreadAffinity(ThreadId thread, std::uint64_t mask)
{
  cpu_set_t processors;
  if (thread == 0 || !processorsOfProcess(processors))
    return false;
  const std::uint64_t all = lowMask(processors);
  if ((mask & all) == 0)
    return false;
  if ((mask & all) != all) {
    CPU_ZERO(&processors);
    for (int bit = 0; bit < 64; ++bit)
      if ((mask & all & (std::uint64_t{1} << bit)) != 0)
        CPU_SET(bit, &processors);
  }
  return sched_setaffinity(static_cast<pid_t>(thread), sizeof processors, &processors) == 0;
}

// A thread

/// Shared by the handle and the thread, so that either may go first.
struct ThreadHandle::State {
  std::string name;
  std::function<void()> body;
  ThreadPriority priority;
  pthread_t thread{};
  ThreadId id = 0; // written before identified is set
  Event identified{EventReset::manual};
  Event finished{EventReset::manual};
  std::atomic<bool> joined{false}; // or detached

  void run();
  static void* entry(void* shared);
};

void ThreadHandle::State::run()
{
  id = currentThreadId();
  pthread_setname_np(pthread_self(), name.c_str());
  setThreadPriority(id, priority);
  identified.set();
  body();
  body = nullptr; // what it captured is destroyed on the thread that used it
  finished.set();
}

void* ThreadHandle::State::entry(void* shared)
{
  const std::unique_ptr<std::shared_ptr<State>> own(static_cast<std::shared_ptr<State>*>(shared));
  (*own)->run();
  return nullptr;
}

ThreadHandle ThreadHandle::start(const std::string& name, std::function<void()> body,
                                 ThreadPriority priority)
{
  constexpr std::size_t nameBytes = 15;
  ThreadHandle handle;
  auto state = std::make_shared<State>();
  state->name = name.substr(0, nameBytes);
  state->body = std::move(body);
  state->priority = priority;

  auto* shared = new std::shared_ptr<State>(state);
  if (pthread_create(&state->thread, nullptr, State::entry, shared) != 0) {
    delete shared;
    return handle;
  }
  handle.state_ = std::move(state);
  return handle;
}

ThreadHandle& ThreadHandle::operator=(ThreadHandle&& other) noexcept
{
  if (this != &other) {
    abandon();
    state_ = std::move(other.state_);
  }
  return *this;
}

ThreadId ThreadHandle::id() const
{
  if (!state_)
    return 0;
  state_->identified.wait();
  return state_->finished.wait(0) ? 0 : state_->id; // the system gives numbers away again
}

bool ThreadHandle::isCurrent() const
{
  return state_ && pthread_equal(state_->thread, pthread_self()) != 0;
}

bool ThreadHandle::join()
{
  if (!state_ || isCurrent())
    return false;
  state_->finished.wait();
  return finish();
}

bool ThreadHandle::join(std::uint32_t milliseconds)
{
  if (!state_ || isCurrent())
    return false;
  return state_->finished.wait(milliseconds) && finish();
}

/// The body has returned; what the system still does at a thread's end is short and waited for, so
/// that a module with code in it may be closed after a join.
bool ThreadHandle::finish()
{
  if (!state_->joined.exchange(true))
    pthread_join(state_->thread, nullptr);
  return true;
}

void ThreadHandle::abandon()
{
  if (state_ && !state_->joined.exchange(true))
    pthread_detach(state_->thread);
  state_.reset();
}

} // namespace orbi::platform
