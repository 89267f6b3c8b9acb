#pragma once

#include "foundation/signal.h"
#include "foundation/thread.h"
#include "midi/midi_interface.h"
#include "midi/mme_midi_sockets.h"

#include <memory>

namespace orbi {

/// The MIDI ports of one family of the system's: a device of the family's name with a socket for
/// each port. Main thread, but for its scheduler, which sends what waits in the out sockets.
class PMmeMidiDevice final : public CmClass<PMmeMidiDevice, PMidiInterface> {
public:
  static constexpr const char* className = "PMmeMidiDevice";

  enum class Scan { now, later }; ///< to look for ports takes time
  explicit PMmeMidiDevice(std::unique_ptr<platform::MidiSystem> system, Scan scan = Scan::now);
  PMmeMidiDevice(const PMmeMidiDevice&) = delete;
  ~PMmeMidiDevice() override;

  platform::MidiSystem& system() { return *system_; }

  /// Makes the sockets those of the ports that there are now. Sockets of ports that stay, stay,
  /// with all that is connected to them. Whether any came or went.
  bool rescan();

  bool activate() override;
  bool deactivate() override;

  /// "UpdatePriority" with "level": the MIDI threads run high from 1 on.
  int32_t handleMessage(FMessage& message) override;

  /// Stamps are by the program's clock instead of the system's; read by the input threads.
  bool stampsByArrival() const { return stampsByArrival_.load(std::memory_order_relaxed); }
  void update(CmObject* subject, int32_t code) override;

  /// An event is due at this time, in seconds, or waits for its turn. Any thread.
  void wakeScheduler(double due);
  platform::ThreadPriority threadPriority() const
  {
    return highPriority_ ? platform::ThreadPriority::timeCritical
                         : platform::ThreadPriority::highest;
  }

private:
  using OutSockets = std::vector<Ref<PMmeMidiOutSocket>>;
  class Scheduler;

  template <class Socket>
  void reopenLost();
  template <class Socket>
  bool dropMissing(std::span<const platform::MidiPortInfo> ports);
  template <class Socket>
  bool addNew(std::span<const platform::MidiPortInfo> ports);
  template <class Socket>
  int32_t socketCount() const;
  template <class Socket>
  Socket* socketAt(int32_t index) const;
  void publishOutSockets();
  const std::shared_ptr<Scheduler>& scheduler() const { return schedulers_.back(); }
  void addScheduler();
  void startScheduler();

  std::unique_ptr<platform::MidiSystem> system_;
  /// Each shared with its thread. The last is in use; the others' threads didn't end in time.
  std::vector<std::shared_ptr<Scheduler>> schedulers_;
  std::atomic<Scheduler*> schedulerInUse_{nullptr};
  std::atomic<bool> stampsByArrival_{false};
  bool isActivated_ = false;
  bool hasScheduler_ = false;
  bool highPriority_ = true;
};

} // namespace orbi
