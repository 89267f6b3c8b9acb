#include "ui/views/window_controller.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"
#include "foundation/message.h"
#include "ui/values/value.h"

namespace orbi {

CM_REGISTER(UWindowController);

UWindowController::~UWindowController()
{
  detach();
  if (FDependencies* dependencies = FDependencies::instance())
    dependencies->removeDependent(nullptr, this);
}

// Window and form

void UWindowController::attach(UWindow& window, UBaseView* form)
{
  detach();
  window_ = &window;
  form_ = form ? form : &window;
  form_->setController(this);
  window.addDependent(this);
}

void UWindowController::detach()
{
  if (!window_)
    return;
  if (form_->controller() == this)
    form_->setController(nullptr);
  window_->removeDependent(this);
  window_ = nullptr;
  form_ = nullptr;
}

UWindow* UWindowController::openForm(Ref<UBaseView> form, Point origin)
{
  auto window =
      make<UDocWindow>(Rect::at(origin, form->size()), form->title().view(), form->style());
  window->setName(form->name().view());
  window->setLimits(form->smallest(), form->largest());
  form->moveTo({});
  form->setAttach(attachAll);
  attach(*window, form.get());
  window->add(std::move(form));
  if (window->UWindow::open())
    return window.get(); // the desktop keeps it
  detach();
  return nullptr;
}

void UWindowController::update(CmObject* subject, int32_t code)
{
  if (!window_ || subject != window_ || code != UWindow::goneNotice)
    return;
  detach();
  windowClosed();
}

int32_t UWindowController::handleMessage(FMessage& message)
{
  if (!message.isMessage("MsgCloseRequest"))
    return CmObject::handleMessage(message);
  if (!canClose())
    message.setInt("state", 0);
  return 1;
}

// Named values and objects

namespace {

FControllerEntry* findEntry(const CmArray& entries, std::string_view name)
{
  const FControllerEntry key(name);
  return static_cast<FControllerEntry*>(entries.find(&key));
}

} // namespace

void UWindowController::addObject(std::string_view name, CmObject* object)
{
  if (FControllerEntry* entry = findEntry(entries_, name))
    entry->setObject(object);
  else
    entries_.add(new FControllerEntry(name, object));
}

UValue* UWindowController::getValue(const char* name)
{
  return castTo<UValue>(getObject(name));
}

CmObject* UWindowController::getObject(const char* name)
{
  FControllerEntry* entry = name ? findEntry(entries_, name) : nullptr;
  return entry ? entry->object() : nullptr;
}

bool UWindowController::getValueName(const UValue* value, CmString& name)
{
  for (CmObject* item : entries_) {
    const auto* entry = static_cast<FControllerEntry*>(item);
    if (entry->object() != value)
      continue;
    name = entry->name();
    return true;
  }
  return false;
}

} // namespace orbi
