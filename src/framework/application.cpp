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

bool GApplication::enterRunState()
{
  if (!UApplication::enterRunState())
    return false;
  if (!fileToOpen_.empty())
    openFile(fileToOpen_);
  return true;
}

} // namespace orbi
