#pragma once

/// While one lives, allocations and locks of its thread are counted. Sanitizers have allocators of
/// their own: under them nothing is counted.
class RealtimeWatch {
public:
  RealtimeWatch();
  ~RealtimeWatch();
  RealtimeWatch(const RealtimeWatch&) = delete;
  RealtimeWatch& operator=(const RealtimeWatch&) = delete;

  static long allocations(); ///< of this thread since the program began
  static long locks();       ///< likewise
};
