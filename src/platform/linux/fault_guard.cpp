#include "platform/fault_guard.h"

#include <array>
#include <csetjmp>
#include <csignal>
#include <cxxabi.h>
#include <pthread.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

namespace orbi::platform {

// The compiler's own jump needs no library and no system call. Sanitizers follow the library's
// only.
#ifdef ORBI_SANITIZED
using JumpPlace = sigjmp_buf;
#define ORBI_MARK_PLACE(place) sigsetjmp(place, 0)
#define ORBI_JUMP_TO(place) siglongjmp(place, 1)
#else
using JumpPlace = void* [5];
#define ORBI_MARK_PLACE(place) __builtin_setjmp(place)
#define ORBI_JUMP_TO(place) __builtin_longjmp(place, 1)
#endif

// The guards of a thread, innermost first

namespace {

struct Guard {
  Guard* outer;
  JumpPlace entry;
};

// Volatile, because the signal handler of the same thread reads it between any two instructions.
thread_local Guard* volatile innermost = nullptr;
thread_local bool isPrepared = false; // beside it, so that a block touches one place

struct GuardedSignal {
  int number;
  struct sigaction previous;
};

std::array<GuardedSignal, 4> guardedSignals{
    {{SIGSEGV, {}}, {SIGBUS, {}}, {SIGFPE, {}}, {SIGILL, {}}}};

} // namespace

// Handling a fault

/// A signal that another process sends isn't a fault of the code under guard.
static bool isOwnFault(const siginfo_t& info)
{
  return info.si_code > 0 || (info.si_code == SI_TKILL && info.si_pid == getpid());
}

static void handToPrevious(const GuardedSignal& guarded, siginfo_t* info, void* context)
{
  const struct sigaction& previous = guarded.previous;
  if ((previous.sa_flags & SA_SIGINFO) != 0) {
    previous.sa_sigaction(guarded.number, info, context);
  } else if (previous.sa_handler == SIG_DFL || previous.sa_handler == SIG_IGN) {
    // A real fault comes again when the instruction is repeated, and then ends the process.
    signal(guarded.number, SIG_DFL);
    if (info->si_code <= 0)
      raise(guarded.number);
  } else {
    previous.sa_handler(guarded.number);
  }
}

static void handleFault(int number, siginfo_t* info, void* context)
{
  if (innermost != nullptr && isOwnFault(*info)) {
    // The jump doesn't restore the blocked signals, which keeps entering a guard free of system
    // calls; so they are put back here, where time doesn't matter.
    pthread_sigmask(SIG_SETMASK, &static_cast<ucontext_t*>(context)->uc_sigmask, nullptr);
    ORBI_JUMP_TO(innermost->entry);
  }
  for (const GuardedSignal& guarded : guardedSignals)
    if (guarded.number == number)
      handToPrevious(guarded, info, context);
}

static bool installHandlers()
{
  struct sigaction action {};
  action.sa_sigaction = handleFault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  for (GuardedSignal& guarded : guardedSignals) {
    sigaction(guarded.number, nullptr, &guarded.previous); // known before ours can run
    sigaction(guarded.number, &action, nullptr);
  }
  return true;
}

// The stack for handling faults

namespace {

constexpr std::size_t stackBytes = 64 * 1024;

void freeStack(void* memory)
{
  stack_t none{};
  none.ss_flags = SS_DISABLE;
  sigaltstack(&none, nullptr);
  munmap(memory, stackBytes);
}

/// What frees a thread's stack when the thread ends. A destructor of the language's own would cost
/// an allocation and a lock when the thread registers it, and that may be in its first block.
class StackKey {
public:
  StackKey() : exists_(pthread_key_create(&key_, freeStack) == 0) {}
  bool hold(void* memory) const { return exists_ && pthread_setspecific(key_, memory) == 0; }

private:
  pthread_key_t key_{};
  bool exists_;
};

void makeStack(const StackKey& key)
{
  stack_t present{};
  if (sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0)
    return; // somebody gave the thread one already
  void* memory =
      mmap(nullptr, stackBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED)
    return;
  stack_t own{};
  own.ss_sp = memory;
  own.ss_size = stackBytes;
  if (!key.hold(memory))
    munmap(memory, stackBytes);
  else
    sigaltstack(&own, nullptr);
}

} // namespace

[[gnu::cold, gnu::noinline]] static void prepareThread()
{
  [[maybe_unused]] static const bool installed = installHandlers();
  static const StackKey key;
  makeStack(key);
  isPrepared = true;
}

void prepareFaultGuard()
{
  if (!isPrepared)
    prepareThread();
}

// Entering and leaving

bool runGuarded(void (*call)(void*), void* context)
{
  if (!isPrepared)
    prepareThread();
  Guard guard;
  guard.outer = innermost;
  if (ORBI_MARK_PLACE(guard.entry) != 0) {
    innermost = guard.outer;
    return false;
  }
  innermost = &guard;
  try {
    call(context);
  } catch (abi::__forced_unwind&) { // the thread is being ended, which can't be held up
    innermost = guard.outer;
    throw;
  } catch (...) {
    innermost = guard.outer;
    return false;
  }
  innermost = guard.outer;
  return true;
}

} // namespace orbi::platform
