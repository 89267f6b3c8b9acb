#pragma once

#include "foundation/association.h"
#include "foundation/intrusive_list.h"
#include "foundation/lock.h"
#include "foundation/message.h"

#include <atomic>
#include <memory>
#include <vector>

namespace orbi {

/// One entry of a message queue: the adopted message and the borrowed receiver.
class FPostedMessage final : public CmClass<FPostedMessage, CmILink> {
public:
  static constexpr const char* className = "FPostedMessage";

  FPostedMessage(FUnknown* to, Ref<FMessage> what) : receiver(to), message(std::move(what)) {}

  FUnknown* receiver;
  Ref<FMessage> message;
};

/// A receiver with an id of its own, the smallest that is free; forwards to its target.
class FReceiver final : public CmClass<FReceiver, CmObject> {
public:
  static constexpr const char* className = "FReceiver";

  explicit FReceiver(FUnknown* target = nullptr);
  FReceiver(const FReceiver& other) : FReceiver(other.target_) {}
  FReceiver& operator=(const FReceiver&) = delete;
  ~FReceiver() override;

  uint32_t id() const { return id_; }
  FUnknown* target() const { return target_; }       ///< borrowed
  int compare(const CmObject* other) const override; ///< by id
  int32_t handleMessage(FMessage& message) override;

private:
  uint32_t id_;
  FUnknown* target_;
};

/// Takes messages to another process or machine. Without a network layer there is none.
class NMessenger {
public:
  virtual ~NMessenger() = default;
  virtual void sendToName(const char* name, const FMessage& message) = 0;

  static inline NMessenger* instance = nullptr;
};

/// The messenger as those see it who know only interfaces.
class IMessenger : public FUnknown {
public:
  static constexpr FUID interfaceId{0x6F726269, 0x4D534752, 0x49460001, 1};

  /// Takes over the reference to the message. Nothing happens unless it is an FMessage.
  virtual void postInterface(FUnknown* receiver, IMessage* message) = 0;

protected:
  ~IMessenger() = default;
};

/// Global queue of posted messages, delivered on the main thread. Posting, removing and asking may
/// happen on any thread but a real-time one. Who receives posts calls remove in its destructor.
class FMessenger final : public CmClass<FMessenger, CmObject>, public IMessenger {
public:
  static constexpr const char* className = "FMessenger";

  FMessenger();
  ~FMessenger() override;
  FMessenger(const FMessenger&) = delete;

  static FMessenger* instance() { return instance_; }
  /// As post does, for threads that may outlast the messenger: when it has gone, or goes meanwhile,
  /// the message is only released.
  static void postTo(FUnknown* receiver, FMessage* message);

  // One object, two interface tables
  CmResult queryInterface(const FUID& id, void** out) override;
  int32_t addRef() override { return retain(); }
  int32_t release() override { return releaseRef(); }

  // One receiver
  /// Adopts the message. With unique, one of the same id that waits for the same receiver is
  /// enough.
  void post(FUnknown* receiver, FMessage* message, bool unique = false);
  void postInterface(FUnknown* receiver, IMessage* message) override;
  void remove(FUnknown* receiver, const FMessage* message = nullptr); ///< null: all of its messages
  bool isPending(FUnknown* receiver); ///< null: whether anything waits to be taken over

  // Receivers by name
  void registerName(const char* name, FUnknown* receiver);
  void unregisterName(const char* name); ///< drops what waits for that receiver
  void postToName(const char* name, FMessage* message, bool alsoRemote = false);

  // Groups, numbered from 1
  int32_t newGroup();
  bool addToGroup(int32_t group, FUnknown* receiver);
  bool removeGroup(int32_t group);
  void postToGroup(int32_t group, FMessage* message); ///< a clone for each member
  void sendToGroup(int32_t group, FMessage& message); ///< at once

  // The pass, main thread
  void dispatch();
  void skipNextPass() { skipNextPass_ = true; }
  void setSuspended(bool suspended);

  /// Called to wake the main thread for a pass: when a post finds the queue empty, on the poster's
  /// thread, and when a pass was left out. Must not block.
  void setWakeUp(void (*wakeUp)()) { wakeUp_.store(wakeUp, std::memory_order_release); }

  /// Hands a message over at once: by the handler interface, else as an object; -1 when neither.
  static int32_t deliver(FUnknown* receiver, FMessage& message);

private:
  using Group = std::vector<FUnknown*>;

  void wake();
  void wakeForRest();
  void append(FUnknown* receiver, Ref<FMessage> message);
  bool hasEqual(FUnknown* receiver, const FMessage& message);
  FUnknown* unbind(const char* name);
  FReceiver* findName(const char* name) const;
  Group* findGroup(int32_t group);

  static inline std::atomic<FMessenger*> instance_{nullptr};
  static inline std::atomic<int> guests_{0}; ///< threads in postTo, for which the destructor waits

  CmBTree receivers_{3, CmOwnership::adopts}; ///< one FReceiver a bound name
  CmBTreeDictionary names_{3};                ///< from name to its FReceiver
  FLock queueLock_{"queueLock"};
  FLock dispatchLock_{"dispatchLock"};
  FLock nameLock_{"nameLock"};
  CmILinkedList postQueue_{CmOwnership::adopts};
  CmILinkedList dispatchQueue_{CmOwnership::adopts};
  std::atomic<uint32_t> posted_{0}; ///< entries of postQueue_, for the test without a lock
  bool skipNextPass_ = false;
  bool suspended_ = false;
  std::unique_ptr<std::vector<std::unique_ptr<Group>>> groups_; ///< null until the first group
  std::atomic<void (*)()> wakeUp_{nullptr};
};

} // namespace orbi
