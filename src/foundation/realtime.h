#pragma once

/// Marks what runs on the audio thread: no allocation, no lock but the MIDI input's, no system
/// call, no message. Whatever has to reach the main thread does so by an atomic flag that idle
/// reads.
#define ORBI_REALTIME
