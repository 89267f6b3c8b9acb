#include "persist/encryption_key.h"

#include "foundation/class_registry.h"

namespace orbi {

CM_REGISTER_ABSTRACT(FEncryptionKey);

void FEncryptionKey::uninstall(const FEncryptionKey* key)
{
  std::erase_if(installed_, [key](const auto& installed) { return installed == key; });
}

Ref<FEncryptionKey> FEncryptionKey::findFor(const FKeyBlock& block)
{
  for (const auto& key : installed_)
    if (key->fits(block))
      return key;
  return nullptr;
}

} // namespace orbi
