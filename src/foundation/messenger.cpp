#include "foundation/messenger.h"

#include "foundation/class_registry.h"

#include <algorithm>
#include <set>
#include <thread>

namespace orbi {

CM_REGISTER(FReceiver);
CM_REGISTER_ABSTRACT(FMessenger); // one, made by the application

namespace {

/// Ids in use; the smallest free number comes first.
class IdPool {
public:
  uint32_t take()
  {
    FGuard guard(lock_);
    uint32_t id = 0;
    for (uint32_t used : used_) {
      if (used != id)
        break;
      ++id;
    }
    used_.insert(id);
    return id;
  }
  void giveBack(uint32_t id)
  {
    FGuard guard(lock_);
    used_.erase(id);
  }

private:
  FLock lock_{"receiver ids"};
  std::set<uint32_t> used_;
};

IdPool receiverIds;

FPostedMessage* entryOf(CmILink* link)
{
  return static_cast<FPostedMessage*>(link);
}

} // namespace

FReceiver::FReceiver(FUnknown* target) : id_(receiverIds.take()), target_(target) {}

FReceiver::~FReceiver()
{
  receiverIds.giveBack(id_);
}

int FReceiver::compare(const CmObject* other) const
{
  auto* receiver = castTo<FReceiver>(other);
  if (!receiver)
    return CmObject::compare(other);
  return (id_ > receiver->id_) - (id_ < receiver->id_);
}

int32_t FReceiver::handleMessage(FMessage& message)
{
  return target_ ? FMessenger::deliver(target_, message) : 0;
}

FMessenger::FMessenger()
{
  FMessenger* none = nullptr;
  instance_.compare_exchange_strong(none, this);
}

FMessenger::~FMessenger()
{
  FMessenger* self = this;
  instance_.compare_exchange_strong(self, nullptr);
  while (guests_ > 0)
    std::this_thread::yield();
}

void FMessenger::postTo(FUnknown* receiver, FMessage* message)
{
  Ref<FMessage> adopted = Ref<FMessage>::adopt(message);
  ++guests_;
  if (FMessenger* messenger = instance_)
    messenger->post(receiver, adopted.detach());
  --guests_;
}

CmResult FMessenger::queryInterface(const FUID& id, void** out)
{
  if (out && id == IMessenger::interfaceId) {
    retain();
    *out = static_cast<IMessenger*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

void FMessenger::append(FUnknown* receiver, Ref<FMessage> message)
{
  auto* entry = new FPostedMessage(receiver, std::move(message));
  bool isFirst = false;
  {
    FGuard guard(queueLock_);
    postQueue_.add(entry);
    isFirst = postQueue_.count() == 1;
    posted_.store(postQueue_.count(), std::memory_order_relaxed);
  }
  // Those behind the first are taken over by the pass that its wake-up brings.
  if (isFirst)
    wake();
}

void FMessenger::wake()
{
  if (auto* wakeUp = wakeUp_.load(std::memory_order_acquire))
    wakeUp();
}

/// Those that waited during a pass that was left out had their wake-up already.
void FMessenger::wakeForRest()
{
  if (posted_.load(std::memory_order_relaxed) > 0)
    wake();
}

void FMessenger::setSuspended(bool suspended)
{
  suspended_ = suspended;
  if (!suspended)
    wakeForRest();
}

bool FMessenger::hasEqual(FUnknown* receiver, const FMessage& message)
{
  for (CmILink* link = postQueue_.head(); link; link = link->next())
    if (entryOf(link)->receiver == receiver && entryOf(link)->message->isMessage(message.getId()))
      return true;
  return false;
}

void FMessenger::post(FUnknown* receiver, FMessage* message, bool unique)
{
  Ref<FMessage> adopted = Ref<FMessage>::adopt(message);
  if (!receiver || !message)
    return;
  FGuard guard(queueLock_); // recursive: the test and the addition are one step
  if (unique && hasEqual(receiver, *message))
    return;
  append(receiver, std::move(adopted));
}

void FMessenger::postInterface(FUnknown* receiver, IMessage* message)
{
  auto* posted = castTo<FMessage>(objectBehind(message));
  if (posted)
    post(receiver, posted);
}

void FMessenger::remove(FUnknown* receiver, const FMessage* message)
{
  CmILinkedList removed(CmOwnership::adopts); // destroyed behind the locks: what a message held may
                                              // call back
  FGuard dispatchGuard(dispatchLock_);
  FGuard queueGuard(queueLock_);
  auto concerned = [=](CmILink* link) {
    FPostedMessage* entry = entryOf(link);
    return entry->receiver == receiver && (!message || entry->message->isMessage(message->getId()));
  };
  postQueue_.takeIf(concerned, removed);
  dispatchQueue_.takeIf(concerned, removed);
  posted_.store(postQueue_.count(), std::memory_order_relaxed);
}

bool FMessenger::isPending(FUnknown* receiver)
{
  FGuard dispatchGuard(dispatchLock_);
  FGuard queueGuard(queueLock_);
  if (!receiver)
    return !postQueue_.isEmpty();
  for (CmILinkedList* queue : {&postQueue_, &dispatchQueue_})
    for (CmILink* link = queue->head(); link; link = link->next())
      if (entryOf(link)->receiver == receiver)
        return true;
  return false;
}

FReceiver* FMessenger::findName(const char* name) const
{
  CmString key(name);
  return static_cast<FReceiver*>(names_.valueOf(&key));
}

void FMessenger::registerName(const char* name, FUnknown* receiver)
{
  FUnknown* former = nullptr;
  {
    FGuard guard(nameLock_);
    former = unbind(name);
    auto* bound = new FReceiver(receiver);
    auto key = make<CmString>(name);
    receivers_.add(bound);
    names_.setValue(key.get(), bound);
  }
  if (former && former != receiver)
    remove(former);
}

// What waits is removed outside of nameLock: a pass under way holds dispatchLock, and its handlers
// may post to names.
void FMessenger::unregisterName(const char* name)
{
  FUnknown* former = nullptr;
  {
    FGuard guard(nameLock_);
    former = unbind(name);
  }
  if (former)
    remove(former);
}

/// The receiver to which the name was bound, null for none.
FUnknown* FMessenger::unbind(const char* name)
{
  FReceiver* bound = findName(name);
  if (!bound)
    return nullptr;
  FUnknown* former = bound->target();
  CmString key(name);
  names_.removeKey(&key);
  receivers_.remove(bound);
  return former;
}

void FMessenger::postToName(const char* name, FMessage* message, bool alsoRemote)
{
  Ref<FMessage> adopted = Ref<FMessage>::adopt(message);
  FGuard guard(nameLock_);
  FReceiver* bound = findName(name);
  if (!bound || !message)
    return;
  if (alsoRemote && NMessenger::instance)
    NMessenger::instance->sendToName(name, *message);
  append(bound->target(), std::move(adopted));
}

int32_t FMessenger::newGroup()
{
  FGuard guard(nameLock_);
  if (!groups_)
    groups_ = std::make_unique<std::vector<std::unique_ptr<Group>>>();
  groups_->push_back(std::make_unique<Group>());
  return static_cast<int32_t>(groups_->size());
}

FMessenger::Group* FMessenger::findGroup(int32_t group)
{
  if (!groups_ || group < 1 || static_cast<size_t>(group) > groups_->size())
    return nullptr;
  return (*groups_)[size_t(group) - 1].get();
}

bool FMessenger::addToGroup(int32_t group, FUnknown* receiver)
{
  FGuard guard(nameLock_);
  Group* members = findGroup(group);
  if (members)
    members->push_back(receiver);
  return members != nullptr;
}

bool FMessenger::removeGroup(int32_t group)
{
  FGuard guard(nameLock_);
  if (!findGroup(group))
    return false;
  (*groups_)[size_t(group) - 1].reset(); // the numbers of the others stand
  return true;
}

void FMessenger::postToGroup(int32_t group, FMessage* message)
{
  Ref<FMessage> original = Ref<FMessage>::adopt(message);
  FGuard guard(nameLock_);
  Group* members = findGroup(group);
  if (!members || !message)
    return;
  for (FUnknown* member : *members)
    append(member, Ref<FMessage>::adopt(static_cast<FMessage*>(message->clone())));
}

void FMessenger::sendToGroup(int32_t group, FMessage& message)
{
  FGuard guard(nameLock_);
  Group* members = findGroup(group);
  if (!members)
    return;
  // By index: a handler may add members.
  for (size_t i = 0; (members = findGroup(group)) && i < members->size(); ++i)
    deliver((*members)[i], message);
}

void FMessenger::dispatch()
{
  if (suspended_)
    return;
  if (skipNextPass_) {
    skipNextPass_ = false;
    wakeForRest();
    return;
  }
  // Without a lock: a post that this test misses is found by the pass that its wake-up brings.
  if (posted_.load(std::memory_order_relaxed) == 0)
    return;
  FGuard guard(dispatchLock_);
  {
    FGuard queueGuard(queueLock_);
    dispatchQueue_.takeAll(postQueue_);
    posted_.store(0, std::memory_order_relaxed);
  }
  while (CmILink* link = dispatchQueue_.takeHead()) {
    auto entry = Ref<FPostedMessage>::adopt(entryOf(link));
    deliver(entry->receiver, *entry->message);
  }
}

int32_t FMessenger::deliver(FUnknown* receiver, FMessage& message)
{
  void* found = nullptr;
  if (!receiver)
    return -1;
  if (receiver->queryInterface(IMessageHandler::interfaceId, &found) == resultOk) {
    auto* handler = static_cast<IMessageHandler*>(found);
    int32_t result = handler->handleMessage(&message);
    handler->release();
    return result;
  }
  CmObject* object = objectBehind(receiver);
  return object && object->isA(CmObject::className) ? object->handleMessage(message) : -1;
}

} // namespace orbi
