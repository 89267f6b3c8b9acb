#include "studio/port_alias.h"

#include "foundation/class_registry.h"
#include "foundation/messenger.h"
#include "studio/port_id.h"
#include "studio/port_registry.h"

namespace orbi {

CM_REGISTER_ABSTRACT(PAliasPort); // made by the registry

PAliasPort::PAliasPort(PPortDescriptor& descriptor)
    : CmClass(nullptr, CmString(portNameInPortID(descriptor.id.view())),
              portIsMulti | (isOutputPortID(descriptor.id.view()) ? 0u : uint32_t{portIsInput})),
      descriptor_(Ref<PPortDescriptor>::share(&descriptor))
{
  userName_ = descriptor.userName;
}

bool PAliasPort::getID(CmString& out) const
{
  const bool isWellFormed = isPortID(descriptor_->id.view());
  out = isWellFormed ? descriptor_->id : CmString();
  return isWellFormed;
}

bool PAliasPort::isMeantBy(std::string_view id) const
{
  return isPortID(id) && descriptor_->id == id;
}

const CmString& PAliasPort::getSystemName() const
{
  return descriptor_->systemName.isEmpty() ? getName() : descriptor_->systemName;
}

void PAliasPort::getDisplayName(CmString& out) const
{
  CmString name;
  PPort::getDisplayName(name);
  out = CmString("Missing: ");
  out.append(name.view());
}

bool PAliasPort::removeConnection(PPort* other)
{
  const bool removed = PPort::removeConnection(other);
  if (removed && !isConnected())
    postCheck();
  return removed;
}

void PAliasPort::postCheck()
{
  CmObject* registry = PPortRegistry::instance();
  if (!registry)
    return;
  auto message = make<FMessage>(checkMessage);
  message->setObject(keyPort, this, ObjectMode::shared);
  FMessenger::postTo(registry, message.detach());
}

} // namespace orbi
