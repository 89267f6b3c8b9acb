#pragma once

#include "platform/linux/midi_jack_client.h"
#include "platform/linux/single_ring.h"
#include "platform/midi_input_stream.h"

#include <atomic>
#include <vector>

namespace orbi::platform {

/// A port of our client for as long as it is open: the client's virtual one, or one made for the
/// connection with a foreign port.
class JackOpenPort {
public:
  /// Without a port when the client, the foreign port or the virtual port can't be had. An empty
  /// `foreign` means the virtual port.
  JackOpenPort(JackClient& client, const std::string& foreign, JackPortFlags direction);
  ~JackOpenPort();
  JackOpenPort(const JackOpenPort&) = delete;
  JackOpenPort& operator=(const JackOpenPort&) = delete;

  explicit operator bool() const { return port_ != nullptr; }
  JackClient& client() const { return client_; }
  const JackLibrary& library() const { return client_.library(); }
  bool isVirtual() const { return isOpen_ != nullptr; }
  bool isConnected() const { return connections() > 0; }
  int connections() const { return library().jack_port_connected(port_); }
  void* buffer(jack_nframes_t frames) const
  {
    return library().jack_port_get_buffer(port_, frames);
  }

private:
  void takeVirtual();
  void addVirtualOutput();
  void makeConnected(const std::string& foreign);

  JackClient& client_;
  const JackPortFlags direction_;
  jack_port_t* port_ = nullptr;
  bool* isOpen_ = nullptr; // of the virtual port
  bool isAdded_ = false;   // the port is ours alone
};

class JackInput final : public MidiInputPort, private JackCycleUser {
public:
  JackInput(JackClient& client, const std::string& foreign, IMidiInputHandler& handler)
      : port_(client, foreign, JackPortIsInput), stream_(handler)
  {
  }
  ~JackInput() override { port_.client().detach(*this); }
  explicit operator bool() const { return bool(port_); }

  void addBuffer(MidiBuffer& buffer) override { stream_.addBuffer(buffer); }
  bool start() override;
  void reset() override;
  bool isLost() const override { return lost_.load(std::memory_order_relaxed); }

private:
  void process(const JackCycle& cycle) override;
  void cyclesEnd() override { followConnections(0); }
  void followConnections(int connections);
  std::uint32_t stamp() const { return static_cast<std::uint32_t>((latest_ - startedAt_) / 1000); }

  const JackOpenPort port_;
  MidiInputStream stream_;
  jack_time_t startedAt_ = 0; // microseconds of the server's clock
  jack_time_t latest_ = 0;    // of an event; the process thread's
  bool started_ = false;
  int connections_ = 0; // process thread
  std::atomic<bool> lost_{false};
};

/// What is sent waits in a ring for the next cycle. Pieces of SysEx are put together there, since
/// an event of a JACK port is a whole message.
class JackOutput final : public MidiOutputPort, private JackCycleUser {
public:
  JackOutput(JackClient& client, const std::string& foreign, IMidiOutputHandler& handler);
  ~JackOutput() override;
  explicit operator bool() const { return attached_; }

  bool shortMessage(std::uint32_t packed) override;
  bool longMessage(MidiBuffer& buffer) override;
  bool isLost() override;

private:
  struct Entry {
    MidiBuffer* buffer; // or else a short message
    std::uint32_t packed;
  };

  void drain();

  // Process thread
  void process(const JackCycle& cycle) override;
  bool mayWrite();
  bool write(const Entry& entry);
  bool writeShort(std::uint32_t packed);
  bool writeLong(MidiBuffer& buffer);
  bool writeSysex();
  bool writeEvent(std::span<const std::uint8_t> bytes);

  const JackOpenPort port_;
  IMidiOutputHandler& handler_;
  SingleRing<Entry, 1024> ring_;
  bool attached_ = false;
  bool used_ = false;         // something was sent; the sender's
  bool wasConnected_ = false; // as the server makes a connection late; the main thread's

  struct {
    int patience = 16;               // cycles that it still waits for its connection
    void* room = nullptr;            // of the cycle, for its events
    std::size_t largest = 0;         // bytes of an event in it
    std::vector<std::uint8_t> sysex; // of a fixed size
    std::size_t gathered = 0;        // bytes there
    bool ready = false;              // to be written before anything else
    std::uint32_t taken = 0;         // bytes of the first buffer in the ring
  } cycle_;                          // process thread, while attached
};

} // namespace orbi::platform
