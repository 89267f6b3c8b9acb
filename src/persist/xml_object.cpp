#include "persist/xml_object.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER_ABSTRACT(FXmlObject);
CM_REGISTER_ABSTRACT(FXmlReference);
CM_REGISTER_ABSTRACT(FXmlInstance);

namespace {
/// Objects that ask for others while they are being loaded: a file could exhaust the stack by them.
thread_local int loadDepth = 0;
} // namespace

CmResult FXmlObject::queryInterface(const FUID& id, void** out)
{
  if (out && id == IObjectReference::interfaceId) {
    retain();
    *out = static_cast<IObjectReference*>(this);
    return resultOk;
  }
  return CmObject::queryInterface(id, out);
}

FXmlInstance::FXmlInstance(int64_t id, std::string_view classWanted, Ref<FAttributes> attributes)
    : CmClass(id), attributes_(std::move(attributes)), class_(classWanted)
{
}

FXmlInstance::~FXmlInstance()
{
  while (borrowers_)
    borrowers_->letGo();
}

CmObject* FXmlInstance::target()
{
  if (object_ || !attributes_ || loadDepth >= deepestLoad)
    return object_.get();
  // Taken out first, as loading may come back here by way of a reference.
  Ref<FAttributes> attributes = std::move(attributes_);
  Ref<FXmlInstance> alive = Ref<FXmlInstance>::share(this);
  object_ = createAs<CmObject>(class_.text());
  ++loadDepth;
  if (object_ && !object_->loadAttributes(*attributes))
    object_ = nullptr;
  --loadDepth;
  return object_.get();
}

FXmlReference::~FXmlReference()
{
  letGo();
}

void FXmlReference::resolve(FXmlInstance* instance, Hold hold)
{
  if (instance && hold == Hold::keeps)
    instance->retain();
  letGo();
  instance_ = instance;
  hold_ = hold;
  if (!instance || hold == Hold::keeps)
    return;
  next_ = instance->borrowers_;
  if (next_)
    next_->previous_ = this;
  instance->borrowers_ = this;
}

void FXmlReference::letGo()
{
  FXmlInstance* instance = std::exchange(instance_, nullptr);
  if (!instance)
    return;
  if (hold_ == Hold::keeps) {
    instance->releaseRef();
    return;
  }
  (previous_ ? previous_->next_ : instance->borrowers_) = next_;
  if (next_)
    next_->previous_ = previous_;
  previous_ = next_ = nullptr;
}

} // namespace orbi
