#include "studio/event.h"

#include "foundation/class_registry.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(PEvent);

PEvent::PEvent(const PEvent& other)
    : CmClass(other), sourceTag(other.sourceTag), ownerRef(other.ownerRef),
      attachment_(other.attachment_), channelTag(other.channelTag), flags(other.flags),
      time_(other.time_), length_(other.length_), contentOffset_(other.contentOffset_)
{
  if (attachment_)
    attachment_->retain();
}

PEvent::~PEvent()
{
  if (attachment_)
    attachment_->releaseRef();
}

void PEvent::setAttachment(CmObject* object)
{
  if (object)
    object->retain();
  if (attachment_)
    attachment_->releaseRef();
  attachment_ = object;
}

void PEvent::setEnd(double end)
{
  setLength(std::max(end - getTime(), 0.0));
}

void PEvent::trimStart(double delta)
{
  setTime(getTime() + delta);
  setLength(getLength() - delta);
  setContentOffset(getContentOffset() + delta);
}

void PEvent::trimEnd(double delta)
{
  setLength(std::max(getLength() - delta, 0.0));
}

CmResult PEvent::queryInterface(const FUID& id, void** out)
{
  if (out && id == IEvent::interfaceId) {
    retain();
    *out = static_cast<IEvent*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

IEventOwner* PEvent::getOwner()
{
  void* owner = nullptr;
  if (!ownerRef || ownerRef->queryInterface(IEventOwner::interfaceId, &owner) != resultOk)
    return nullptr;
  return static_cast<IEventOwner*>(owner);
}

IEvent* PEvent::getNextEvent(FUnknown* other)
{
  if (!castTo<PEvent>(objectBehind(other)))
    return nullptr;
  return castTo<PEvent>(static_cast<CmObject*>(next()));
}

} // namespace orbi
