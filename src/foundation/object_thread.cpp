#include "foundation/object_thread.h"

#include "foundation/messenger.h"

namespace orbi {

static Ref<FMessage> threadMessage(const char* name, uint32_t id)
{
  auto message = make<FMessage>(name);
  message->setInt("id", id);
  return message;
}

FThread::FThread(CmObject* target, const char* name, uint32_t id, bool deferStart)
    : target_(target), givenName_(name), id_(id)
{
  if (!deferStart)
    start("FThread"); // the last step: the thread may end, and this with it, before start returns
}

const char* FThread::getName() const
{
  return isStarted() ? FThreadBase::getName() : givenName_.text();
}

uint32_t FThread::run()
{
  if (target_ && FMessenger::instance()) {
    const auto target = Ref<CmObject>::share(target_);
    target->handleMessage(*threadMessage("threadEntry", id_));
    // Posted while the reference is still held: if another owner lets go meanwhile, the object's
    // end takes the message out of the queue again.
    if (target->refCount() > 1)
      FMessenger::postTo(target.get(), threadMessage("threadFinished", id_).detach());
  }
  releaseRef();
  return 0;
}

} // namespace orbi
