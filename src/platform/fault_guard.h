#pragma once

#include "platform/realtime_layout.h"

#include <memory>
#include <type_traits>

namespace orbi::platform {

/// Does beforehand what the first guarded call of a thread does: gives the thread a stack of its
/// own for handling faults, so that an overflow of the stack is survived, too. Takes a few system
/// calls once; the stack is freed when the thread ends.
void prepareFaultGuard();

/// The call behind `guarded`. For calls on the audio path, which lay out their function themselves.
ORBI_REALTIME bool runGuarded(void (*call)(void*), void* context);

/// Runs foreign code and answers false when it threw any exception or faulted (invalid memory,
/// invalid instruction, integer division by zero, overflow of the stack) on this thread. Guards
/// nest. But for the first on a thread, costs some ten nanoseconds, no system call and no
/// allocation, so it may stand around every block of audio.
///
/// After a fault nothing is unwound: what the frames below would have destroyed isn't destroyed and
/// locks they hold stay held. So `f` should do nothing but call the foreign code, and whoever gets
/// false should stop using it.
template <typename F>
bool guarded(F&& f)
{
  using Callable = std::remove_reference_t<F>;
  return runGuarded([](void* context) { (*static_cast<Callable*>(context))(); },
                    const_cast<void*>(static_cast<const void*>(std::addressof(f))));
}

} // namespace orbi::platform
