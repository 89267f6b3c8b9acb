#pragma once

#include "platform/linux/midi_alsa_client.h"
#include "platform/thread.h"

#include <functional>

namespace orbi::platform {

/// A thread that reads one client's events until it is stopped, and sleeps where there are none.
class AlsaReader {
public:
  /// `event` is null when some were lost.
  using Reader = std::function<void(const snd_seq_event_t* event)>;

  AlsaReader(const AlsaClient& client, Reader reader) : client_(client), reader_(std::move(reader))
  {
  }
  ~AlsaReader();
  AlsaReader(const AlsaReader&) = delete;
  AlsaReader& operator=(const AlsaReader&) = delete;

  bool start(const std::string& threadName);
  ThreadId thread() const { return thread_.id(); } ///< 0 while it doesn't read
  void stop(); ///< nothing is read any more when it returns; may be started again

private:
  void run(int descriptor);
  void readAll();

  const AlsaClient& client_;
  const Reader reader_;
  ThreadHandle thread_;
  int stopDescriptor_ = -1; // readable when the thread is to end
};

} // namespace orbi::platform
