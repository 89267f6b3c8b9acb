#pragma once

#include "platform/linux/midi_jack_library.h"
#include "platform/midi_change_notice.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace orbi::platform {

/// When a cycle began, for the stamps of its events.
struct JackCycle {
  jack_nframes_t frames;
  std::uint64_t begin; ///< microseconds of the server's clock
  double perFrame;     ///< microseconds, nominal: what the server measures sways
};

/// Does its part in each cycle, on the server's process thread: no lock, no allocation.
class JackCycleUser {
public:
  virtual ~JackCycleUser() = default;
  virtual void process(const JackCycle& cycle) = 0;
};

/// The program as a client of one server, from joining it until one of them ends.
///
/// A server's death is final for its client, and the client is not closed then: the library does
/// that itself when anybody in the process joins a server the next time, and would do it twice.
/// Until then it may keep a thread that knows this object.
class JackClient {
public:
  static std::unique_ptr<JackClient> join(const JackLibrary& library, const std::string& name,
                                          MidiChangeNotice& notice);
  ~JackClient();
  JackClient(const JackClient&) = delete;
  JackClient& operator=(const JackClient&) = delete;

  bool gone() const { return gone_.load(std::memory_order_acquire); }
  const JackLibrary& library() const { return library_; }
  jack_client_t* handle() const { return handle_; }

  // Ports
  jack_port_t* virtualInput() const { return virtualInput_; }
  jack_port_t* virtualOutput() const { return virtualOutput_; }
  bool virtualInputIsOpen = false;
  bool virtualOutputIsOpen = false;
  /// A port of our own for the connection with a foreign one; null on failure. `direction` is
  /// JackPortIsInput or JackPortIsOutput.
  jack_port_t* addPort(const std::string& name, JackPortFlags direction);
  void removePort(jack_port_t* port);

  // Cycles
  bool attach(JackCycleUser& user); ///< false when there are too many
  void detach(JackCycleUser& user); ///< when it returns, the user is not in use any more

private:
  JackClient(const JackLibrary& library, MidiChangeNotice& notice)
      : library_(library), notice_(notice)
  {
  }
  bool setUp();
  void setCallbacks();
  void process(jack_nframes_t frames);
  JackCycle cycle(jack_nframes_t frames) const;

  const JackLibrary& library_;
  MidiChangeNotice& notice_;
  jack_client_t* handle_ = nullptr;
  double perFrame_ = 0.0; // as in a cycle
  jack_port_t* virtualInput_ = nullptr;
  jack_port_t* virtualOutput_ = nullptr;
  std::atomic<bool> gone_{false};

  // A user is taken out of its place, and then waited for unless the process thread is between two
  // passes (the count is even) or in another one. Both sides write one and read the other, hence
  // sequential order.
  std::array<std::atomic<JackCycleUser*>, 256> users_{};
  std::atomic<std::size_t> usedPlaces_{0};
  std::atomic<std::uint32_t> passes_{0};
};

} // namespace orbi::platform
