#pragma once

#include "foundation/array.h"
#include "foundation/string.h"
#include "platform/realtime_layout.h"
#include "studio/port_interfaces.h"
#include "studio/published_connections.h"

namespace orbi {

class FNode;
class PEvent;

/// Bits of PPort::portFlags.
enum PPortFlag : uint32_t {
  portIsInput = 1,
  portIsMulti = 2,      ///< takes several connections
  portIsRegistered = 4, ///< the registry's
  portIsHidden = 8,     ///< by the user
  portIsExclusive = 16, ///< claims the other side for itself
  portIsDisabled = 32,
  portHasNoRelay = 64 ///< messages don't pass through the owner
};

/// The codes with which a port tells its dependents.
enum PPortChange : int32_t { portConnectionsChanged = 1 };

/// Named connection point of a device. Connected ports hold each other, so whoever gives a port up
/// disconnects it before. Main thread, but for what the classes below say of events.
class PPort : public CmClass<PPort, CmObject>, public IPort {
public:
  static constexpr const char* className = "PPort";
  static constexpr uint32_t noNumber = 0xFFFFFFFF;

  explicit PPort(CmObject* owner = nullptr, const CmString& name = {}, uint32_t flags = 0);
  PPort(const PPort&) = delete;
  ~PPort() override;

  // Kind; words are compared exactly
  virtual const char* getType() const { return nullptr; }
  virtual const char* getSubtype() const { return nullptr; }
  bool isType(const char* type) const final;
  bool isSubtype(const char* subtype) const final;

  // Identity
  CmObject* owner() const { return owner_; }          ///< normally a PDevice; borrowed
  void ownerGoes();                                   ///< whoever holds the port keeps it
  uint32_t portNumber() const { return portNumber_; } ///< of this run; noNumber until registered
  /// Begins with the letter of the direction and ends with a bar and the name that the port was
  /// made with or set to. False, and empty, without one.
  virtual bool getID(CmString& out) const;
  bool hasID(std::string_view id) const; ///< getID would give it, but without building it
  /// It has another identifier, or may have: told by those from whom the names in it come. What
  /// was kept under the former one stays there, as if the port had left and another come.
  void idChanged();
  virtual std::string_view deviceName() const; ///< of the owning node; empty without one
  bool getDeviceName(CmString& out) const;     ///< false when it is empty

  // Names
  virtual void setName(const char* name);
  virtual const CmString& getName() const { return name_; }
  virtual const CmString& getSystemName() const { return name_; }
  virtual const CmString& getUserName() const { return userName_; } ///< empty if none was given
  virtual void setUserName(const char* name);
  virtual void getDisplayName(CmString& out) const; ///< the user's name, else the system's

  // State
  uint32_t portFlags() const { return portFlags_; }
  bool hasFlag(PPortFlag flag) const { return (portFlags_ & flag) != 0; }
  void setFlag(PPortFlag flag, bool on = true);
  bool isOutput() const final { return !hasFlag(portIsInput); }
  bool isVisible() const final { return !hasFlag(portIsHidden); }
  void setVisible(bool visible) override;
  virtual void activate() {}
  virtual void deactivate() {}
  virtual void setEnabled(bool enabled); ///< the connections are told
  virtual void peerEnabledChanged(PPort*) {}

  // Connections, in the order in which they were made
  virtual bool connect(PPort* other);
  virtual bool disconnect(PPort* other); ///< false when it wasn't connected
  bool disconnectAll() override;         ///< always true
  virtual int32_t countConnections() const { return static_cast<int32_t>(connections_.count()); }
  virtual PPort* connectionAt(int32_t index) const; ///< null outside
  bool isConnected() const final { return !connections_.isEmpty(); }
  bool isConnectedTo(const PPort* other) const { return connections_.contains(other); }
  bool isHeldExclusively() const; ///< the first connection is an exclusive port

  /// The halves of connect and disconnect, one for each side. An overriding class calls this one
  /// first. When an input loses a connection, no thread is inside its receive any more through it,
  /// unless the one that disconnects is.
  virtual bool addConnection(PPort* other);
  virtual bool removeConnection(PPort* other);

  // Messages along the connections
  virtual void relayToConnections(FMessage& message); ///< relayIn of each
  /// Passes the message on to the owner's ports of the other direction, and so through a chain of
  /// devices. One that comes round to where it is being relayed ends there.
  virtual void relayIn(FMessage& message);
  virtual void notifyConnections(FMessage& message);    ///< handleMessage of each
  virtual void forwardToConnections(FMessage& message); ///< forwardIn of each
  virtual int32_t forwardIn(FMessage&) { return 0; }

  // What the user set, as the registry keeps it
  virtual void writeSettings(FAttributes& attributes) const;
  virtual void readSettings(const FAttributes& attributes);

  // One object, two interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }
  CmResult getIDText(IStringSink* sink) override;
  const char* getNameText() override { return getName().text(); }
  const char* getDeviceNameText() override;
  const char* getDisplayNameText(bool withUserName) override;

protected:
  const CmArray& connections() const { return connections_; }
  virtual void connectionsChanged() {} ///< one came or went, before anybody else hears of it
  /// Whether the identifier, whose direction and name are known to be right, is this port's.
  /// Overridden together with getID.
  virtual bool isMeantBy(std::string_view id) const;

  CmString userName_;

private:
  friend class PPortRegistry;

  bool mustYieldTo(const PPort& other) const;
  bool unlink(PPort& other);
  template <class Action>
  void forEachConnection(const Action& action);
  const FNode* ownerNode() const;

  CmArray connections_{CmOwnership::shares};
  CmString outsideText_; ///< the last that a caller got through the interface
  bool isRelaying_ = false;

  // What a search through many ports looks at lies together.
  uint32_t portFlags_;
  uint32_t portNumber_ = noNumber;
  CmObject* owner_;
  mutable const FNode* ownerNode_ = nullptr; ///< the owner, once it was seen to be a node
  CmString name_;
};

/// Takes in what outputs send.
class PInput : public CmClass<PInput, PPort> {
public:
  static constexpr const char* className = "PInput";

  explicit PInput(CmObject* owner = nullptr, const CmString& name = {}, uint32_t flags = 0)
      : CmClass(owner, name, flags | portIsInput)
  {
  }

  /// The event stays the sender's. On the sender's thread, which may be a MIDI or the audio thread,
  /// and on several at once when several send. Whether it was taken.
  ORBI_REALTIME_SELDOM virtual bool receive(PEvent& event);
};

/// Sends events to the inputs that it is connected to.
class POutput : public CmClass<POutput, PPort> {
public:
  static constexpr const char* className = "POutput";
  using CmClass::CmClass;

  /// Hands the event to the connected inputs in order; it stays the caller's. Any thread, while the
  /// main thread connects and disconnects; the caller sees to it that the port lives.
  ORBI_REALTIME_SELDOM void send(PEvent& event);

protected:
  void connectionsChanged() override;

private:
  PPublishedConnections published_;
};

/// Input that takes several connections.
class PMultiInput : public CmClass<PMultiInput, PInput> {
public:
  static constexpr const char* className = "PMultiInput";

  explicit PMultiInput(CmObject* owner = nullptr, const CmString& name = {}, uint32_t flags = 0)
      : CmClass(owner, name, flags | portIsMulti)
  {
  }
};

/// Output that takes several connections.
class PMultiOutput : public CmClass<PMultiOutput, POutput> {
public:
  static constexpr const char* className = "PMultiOutput";

  explicit PMultiOutput(CmObject* owner = nullptr, const CmString& name = {}, uint32_t flags = 0)
      : CmClass(owner, name, flags | portIsMulti)
  {
  }
};

} // namespace orbi
