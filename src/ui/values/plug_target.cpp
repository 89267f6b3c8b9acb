#include "ui/values/plug_target.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "foundation/plug_dependencies.h"
#include "ui/values/value.h"

namespace orbi {

CM_REGISTER_ABSTRACT(UPlugTarget); // made around an object

namespace {

/// The listener with a reference of the caller's, or null.
IEditListener* queryListener(FUnknown* object)
{
  void* listener = nullptr;
  if (!object || object->queryInterface(IEditListener::interfaceId, &listener) != resultOk)
    return nullptr;
  return static_cast<IEditListener*>(listener);
}

} // namespace

bool UPlugTarget::hearsEdits() const
{
  IEditListener* listener = queryListener(object_);
  if (listener)
    listener->release();
  return listener != nullptr;
}

void UPlugTarget::update(CmObject* subject, int32_t code)
{
  if (object_)
    object_->update(subject, code);
}

int32_t UPlugTarget::handleMessage(FMessage& message)
{
  const bool begins = message.isMessage(UValue::beginEditMessage);
  if (!begins && !message.isMessage(UValue::endEditMessage))
    return 0;
  auto* value = message.getObject<UValue>("Value");
  IEditListener* listener = value ? queryListener(object_) : nullptr;
  if (!listener)
    return 0;
  if (begins)
    listener->onBeginEdit(value);
  else
    listener->onEndEdit(value);
  listener->release();
  return 1;
}

} // namespace orbi
