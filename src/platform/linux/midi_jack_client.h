#pragma once

#include "platform/linux/midi_jack_library.h"
#include "platform/midi_change_notice.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

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
  /// There are no cycles from now on, and thus no connection. Main thread.
  virtual void cyclesEnd() {}
};

/// The program as a client of one server, from joining it until one of them ends.
///
/// A server's death is final for its client, and the client is not closed then: the library does
/// that itself when anybody in the process joins a server the next time, and would do it twice.
/// Until then it may keep a thread that knows this object.
///
/// A cycle costs a wake-up of the process thread, some hundred times a second, so the client takes
/// part in cycles only while one of its ports is connected. To the library that is a matter of
/// having a process callback, which only a client can get or lose that isn't active, and is without
/// connections therefore: those of the virtual input, which aren't ours, are made again. An output
/// that doesn't take part would hold up all who listen to it, so the virtual one is only there
/// while it is open.
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
  bool virtualInputIsOpen = false;
  bool virtualOutputIsOpen = false;
  /// Another port of our own, which takes part in cycles until it is removed; null on failure.
  /// `flags` begin with JackPortIsInput or JackPortIsOutput.
  jack_port_t* addPort(const std::string& name, unsigned long flags);
  void removePort(jack_port_t* port);
  /// Connects an added port with a foreign one. A client has ports before it becomes active, and
  /// can't be connected until then: connectWaiting does it later. False without the foreign port.
  bool connect(jack_port_t* own, const std::string& foreign);
  void connectWaiting(); ///< whenever anything has changed, and when settle says so
  /// Another number for a port of this name that isn't the one that was there.
  std::uint64_t generation(jack_port_t* port);

  // Cycles
  /// Takes part in cycles from now on, or not any more, as its connections want it. Answers after
  /// how many nanoseconds it is to be called again, or 0. Nothing is done until nobody has
  /// connected anything for `quietTime`, as what a patch bay connects in the midst of it would
  /// fail; and what the server refused is tried again after `refusalTime`, and ever more seldom.
  std::int64_t settle();
  static constexpr std::int64_t quietTime = 100'000'000;     ///< nanoseconds
  static constexpr std::int64_t refusalTime = 2'000'000'000; ///< nanoseconds
  std::uint32_t passes() const { return passes_.load(); }    ///< two more with each cycle
  bool attach(JackCycleUser& user);                          ///< false when there are too many
  void detach(JackCycleUser& user); ///< when it returns, the user is not in use any more

private:
  JackClient(const JackLibrary& library, MidiChangeNotice& notice)
      : library_(library), notice_(notice)
  {
  }
  /// That is still to be made.
  struct Connection {
    jack_port_t* own;
    std::string foreign;
    int tries = 0; ///< that failed
  };

  bool setUp();
  void setCallbacks();
  bool mustTakePart() const;
  void takePart(bool takesPart);
  bool activate(bool takesPart);
  bool activateOnce(bool takesPart);
  std::int64_t refusedFor() const;
  std::vector<std::string> connections(jack_port_t* port) const;
  bool makeConnection(const Connection& connection) const;
  bool isThere(const std::string& foreign) const;
  void waitForPass() const;
  void portConnected(jack_port_id_t one, jack_port_id_t other);
  void portRegistered(jack_port_id_t port, bool isThere);
  void process(jack_nframes_t frames);
  JackCycle cycle(jack_nframes_t frames) const;

  const JackLibrary& library_;
  MidiChangeNotice& notice_;
  jack_client_t* handle_ = nullptr;
  double perFrame_ = 0.0; // as in a cycle
  jack_port_t* virtualInput_ = nullptr;
  int addedPorts_ = 0;
  std::vector<Connection> waiting_; // main thread
  bool takesPart_ = false;
  bool isActive_ = false;      // without this nobody can connect anything
  std::int64_t refusedAt_ = 0; // when the server let it not take part; 0 while it does
  std::uint32_t refusals_ = 0; // that are over
  std::atomic<bool> gone_{false};
  std::atomic<std::int64_t> connectedAt_{0}; // when the last one was, or wasn't any more

  // How often each place of a port was left. The library reuses places.
  std::mutex departuresMutex_;
  std::map<jack_port_t*, std::uint32_t> departures_;

  // A user is taken out of its place, and then waited for unless the process thread is between two
  // passes (the count is even) or in another one. Both sides write one and read the other, hence
  // sequential order. The library ends its thread wherever that is, so all users rest before.
  std::atomic<bool> usersRest_{true};
  std::array<std::atomic<JackCycleUser*>, 256> users_{};
  std::atomic<std::size_t> usedPlaces_{0};
  std::atomic<std::uint32_t> passes_{0};
};

} // namespace orbi::platform
