// FluidSynth hands its effects and the unpacking of samples to OpenMP even where it is told to use
// one core only. OpenMP then takes and gives back memory in every block, and keeps threads of its
// own waiting. This module stands before OpenMP's library in the order in which FluidSynth's calls
// are bound, so the call that opens a parallel region ends here: the work is done at once, by who
// asks. Where another module has bound FluidSynth before, its way remains, and the sound is the
// same.
#include "orb/orb.h"

extern "C" ORB_EXPORT void GOMP_parallel(void (*work)(void*), void* data, unsigned, unsigned)
{
  work(data);
}
