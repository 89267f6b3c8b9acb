#pragma once

/// Marks what runs on the audio thread: no allocation, no lock but the MIDI input's, no system
/// call, no message. Whatever has to reach the main thread does so by an atomic flag that idle
/// reads. Functions that aren't inline are laid out in one piece, because the caches forget them
/// between two blocks: the fewer pages and lines they spread over, the cheaper is a block.
#ifdef __ELF__
#define ORBI_REALTIME [[gnu::hot, gnu::section(".text.hot.orbi_realtime")]]
#else
#define ORBI_REALTIME
#endif
