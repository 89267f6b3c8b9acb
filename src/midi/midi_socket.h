#pragma once

#include "foundation/lock.h"
#include "midi/midi_port.h"
#include "studio/event_queue.h"

#include <array>
#include <span>

namespace orbi {

/// What both directions of sockets have in common: a socket stands for a port of the system and has
/// it open only while it is wanted, which is while its device is active and something is connected.
/// A port that doesn't open leaves the socket silent until the next connection, start or retry.
/// Main thread.
template <class Port>
class PMidiSocket : public Port {
public:
  using Port::Port;

  bool isOpened() const { return opened_.load(std::memory_order_acquire); }
  bool isActivated() const { return activated_; }
  virtual bool isVirtual() const { return false; } ///< no port of the system's behind it

  void activate() override
  {
    if (activated_)
      return;
    activates();
    if (this->isConnected())
      open();
    activated_ = true;
  }

  /// Whether it should be open and isn't.
  bool fails() const { return activated_ && this->isConnected() && !isOpened(); }
  void retry()
  {
    if (fails())
      open();
  }

  void deactivate() override
  {
    if (!activated_)
      return;
    if (isOpened())
      closeInOrder();
    activated_ = false;
  }

  /// As after a change of the system's.
  void reopen()
  {
    this->deactivate();
    this->activate();
  }

  bool addConnection(PPort* other) override
  {
    const bool added = Port::addConnection(other);
    if (this->isConnected() && !isOpened() && activated_)
      open();
    return added;
  }

  bool removeConnection(PPort* other) override
  {
    const bool removed = Port::removeConnection(other);
    if (!this->isConnected() && isOpened())
      closeInOrder();
    return removed;
  }

protected:
  virtual bool open() = 0;  ///< false on failure; else sets opened
  virtual void close() = 0; ///< clears opened
  virtual void activates() {}
  virtual void closes() {} ///< what has to go out still, before it closes
  void setOpened(bool opened) { opened_.store(opened, std::memory_order_release); }

private:
  void closeInOrder()
  {
    closes();
    close();
  }

  std::atomic<bool> opened_{false}; ///< also read by the system's threads
  bool activated_ = false;
};

class PMidiOutSocket;

/// Brings MIDI in from the system, so it is an output of its device.
class PMidiInSocket : public CmClass<PMidiInSocket, PMidiSocket<PMidiOutput>> {
public:
  static constexpr const char* className = "PMidiInSocket";
  /// A message that gets longer than this is given up: nobody ends it any more.
  static constexpr uint32_t longestSysex = 16 * 1024 * 1024;

  explicit PMidiInSocket(CmObject* owner, const CmString& name, const char* kind = systemPortKind)
      : CmClass(owner, name, kind)
  {
  }

  // Ways past the program, where the system has them. False without; channels count from 0
  virtual bool connectThru(PMidiOutSocket&, int32_t, int32_t) { return false; }
  virtual bool disconnectThru(PMidiOutSocket&, int32_t, int32_t) { return false; }

  virtual bool isBridge() const { return false; } ///< may show once more what others show
  /// Whether it shows once more what comes in through this one.
  virtual bool repeats(const PMidiInSocket&) const { return false; }

  /// The input that is left gets the ends of what is held, unless another of its connections holds
  /// that, too.
  bool removeConnection(PPort* other) override;
  PHeldKeys::State heldKeys() const override { return held_.state(); }
  void deactivate() override;

protected:
  void sendPlayed(PMidiEvent& event); ///< and remembers held keys. The system's thread
  void letGo();                       ///< sends the ends of what is held. The system's thread
  /// Takes a piece of what the system gives as long messages, and sends each system exclusive
  /// message that gets complete. The time is that of messages which begin here. The system's
  /// thread.
  void assembleSysex(std::span<const uint8_t> bytes, double time);
  void dropPartialSysex() { partialSysex_ = {}; } ///< while no call of the system's comes

private:
  void letGoOf(PHeldKeys::State held, PPort* other);
  size_t appendData(std::span<const uint8_t> bytes);

  Ref<PSysexEvent> partialSysex_;      ///< being assembled
  PHeldKeys held_;                     ///< noted by the system's thread
  std::atomic<double> lastTime_{-1.0}; ///< of what was played last
};

/// Sends to the system, so it is an input of its device. Events with a time of their own wait in a
/// queue until the device's scheduler pumps them; times are seconds of the device's clock.
class PMidiOutSocket : public CmClass<PMidiOutSocket, PMidiSocket<PMidiInput>> {
public:
  static constexpr const char* className = "PMidiOutSocket";
  static constexpr double nothingDue = 2592000.0; ///< thirty days in seconds

  explicit PMidiOutSocket(CmObject* owner, const CmString& name, const char* kind = systemPortKind)
      : CmClass(owner, name, kind)
  {
  }

  /// Sends the event or puts a copy into the queue; any thread. A note on with a length gets its
  /// note off by itself. False for what is no MIDI event.
  bool receive(PEvent& event) override;
  /// Sends what is due and answers when to come back: the time of the event that went last, as
  /// others may be due soon, or nothingDue. The scheduler's thread.
  virtual double pump(double now);
  /// Ends the notes that sound by the note offs that wait, and drops all else.
  virtual void allNotesOffNow();
  /// Takes the events of one owner out of the queue, or all for null; note offs are sent.
  void cancelQueued(const CmObject* source);

protected:
  // With the queue's lock held
  virtual void enqueue(PMidiEvent& event);     ///< sends it now or queues a copy
  virtual void sendNow(PMidiEvent& event) = 0; ///< to the system
  virtual void endBlock() {}                   ///< after some sends

  void activates() override; ///< begins with an empty queue
  void closes() override { allNotesOffNow(); }
  FLock& queueLock() { return queueLock_; }
  bool hasQueued() const { return queued_.load(std::memory_order_seq_cst) > 0; }

private:
  static constexpr double cancelDelay = 0.1;    ///< seconds behind what went last
  static constexpr uint32_t mostQueued = 65536; ///< events, and ends of notes twice as many

  void queueNoteOff(const PMidiEvent& noteOn);
  void insertCopy(PMidiEvent& event);
  void sendCancelling(PMidiEvent& noteOff);
  void countQueued() { queued_.store(queue_.count(), std::memory_order_seq_cst); }

  FLock queueLock_{"PMidiOutSocket"};
  PEventQueue queue_;
  std::atomic<uint32_t> queued_{0}; ///< count of queue_, for the test without the lock
  double lastTime_ = 0.0;           ///< of the event that the pump sent last
};

} // namespace orbi
