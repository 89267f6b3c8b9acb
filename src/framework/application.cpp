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
  if (!fileToOpen_.empty())
    openFile(fileToOpen_);
}

} // namespace orbi
