#include "ui/views/modal_session.h"

#include "ui/application.h"
#include "ui/views/desktop.h"

namespace orbi {

UModalSession::UModalSession(UDesktop& desktop)
    : desktop_(Ref<UDesktop>::share(&desktop)), former_(desktop.session_), order_(++desktop.modals_)
{
  desktop.standBack();
  desktop.session_ = this;
  desktop.coverBlocked();
  if (UApplication* application = UApplication::instance())
    application->setActiveControl(nullptr);
}

UModalSession::~UModalSession()
{
  desktop_->session_ = former_;
  desktop_->coverBlocked();
  desktop_->giveKeysBack();
}

void UModalSession::run(UWindow* owner, const std::function<bool()>& goesOn)
{
  const Ref<UWindow> kept = Ref<UWindow>::share(owner);
  if (UApplication* application = UApplication::instance())
    application->runModal([&] { return !isCancelled_ && (!owner || owner->isOpen()) && goesOn(); });
}

} // namespace orbi
