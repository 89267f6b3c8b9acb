#pragma once

/// ORBI_REALTIME marks what runs on the audio thread: no allocation, no lock but the MIDI input's,
/// no system call, no message. Whatever has to reach the main thread does so by an atomic flag that
/// idle reads.
///
/// In the few milliseconds between two blocks the caches forget everything, and finding a page
/// again costs more than the work that is done there. So functions that every block calls lie in
/// one page (cmake/realtime.ld), those that only some blocks need (ORBI_REALTIME_SELDOM) elsewhere,
/// and the few variables of all blocks (ORBI_REALTIME_DATA, zero at the start) before the room of
/// RealtimeMemory.
#ifdef __ELF__
#define ORBI_REALTIME [[gnu::hot, gnu::section(".text.hot.orbi_realtime")]]
#define ORBI_REALTIME_SELDOM [[gnu::hot]]
#define ORBI_REALTIME_DATA [[gnu::section(".bss.orbi_realtime")]]
#define ORBI_REALTIME_ROOM [[gnu::section(".bss.orbi_realtime_room")]]
#else
#define ORBI_REALTIME
#define ORBI_REALTIME_SELDOM
#define ORBI_REALTIME_DATA
#define ORBI_REALTIME_ROOM
#endif
