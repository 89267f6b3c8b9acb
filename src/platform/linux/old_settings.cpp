#include "platform/old_settings.h"

namespace orbi::platform {

// Settings were files here from the beginning.
std::unique_ptr<OldSettingsKey> openOldSettings(const std::string&)
{
  return nullptr;
}

} // namespace orbi::platform
