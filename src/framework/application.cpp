#include "framework/application.h"

#include "foundation/class_registry.h"
#include "foundation/startup_records.h"

namespace orbi {

CM_REGISTER_ABSTRACT(GApplication);

void GApplication::startup()
{
  if (isQuitting() || !FInitializer::runAll()) {
    dropStartupRecords();
    setQuit();
    return;
  }
  afterStartup();
  buildMenuBar();
}

int32_t GApplication::handleMessage(FMessage& message)
{
  if (!message.isMessage("MenuSelect"))
    return UApplication::handleMessage(message);
  switch (message.getInt("Tag")) {
  case quitTag:
    if (canQuit())
      setQuit();
    return 1;
  case aboutTag:
    showAbout();
    return 1;
  default:
    return 0;
  }
}

bool GApplication::enterRunState()
{
  if (!UApplication::enterRunState())
    return false;
  if (!fileToOpen_.empty())
    openFile(fileToOpen_);
  return true;
}

} // namespace orbi
