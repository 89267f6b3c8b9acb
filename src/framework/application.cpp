#include "framework/application.h"

#include "foundation/class_registry.h"
#include "foundation/messenger.h"
#include "foundation/startup_records.h"

#include <utility>

namespace orbi {

CM_REGISTER_ABSTRACT(GApplication);

constexpr const char* openDroppedMessage = "Open Dropped";

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

/// Not at once: whoever dragged it waits, and the user may be asked something.
void GApplication::openDroppedFile(std::filesystem::path file)
{
  droppedFile_ = std::move(file);
  if (FMessenger* messenger = FMessenger::instance())
    messenger->post(static_cast<CmObject*>(this), new FMessage(openDroppedMessage), true);
}

int32_t GApplication::handleMessage(FMessage& message)
{
  if (message.isMessage(openDroppedMessage)) {
    const std::filesystem::path file = std::exchange(droppedFile_, {});
    if (opensDroppedFile(file)) // still
      openFile(file);
    return 1;
  }
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
    givenFileOpened(openFile(fileToOpen_));
  return true;
}

} // namespace orbi
