#include "ui/views/control.h"

#include "foundation/class_registry.h"
#include "foundation/dependencies.h"

namespace orbi {

CM_REGISTER(UControl);

UControl::UControl(const Rect& rect, UValue* value, std::string_view title) : CmClass(rect, title)
{
  UControl::setValue(value);
}

UControl::~UControl()
{
  UControl::setValue(nullptr);
}

void UControl::setValue(UValue* value)
{
  if (value == value_)
    return;
  endEdit();
  if (value_ && FDependencies::instance()) // else it may have gone without a word
    value_->removeDependent(this);
  value_ = value;
  if (value_)
    value_->addDependent(this);
  invalidate();
}

bool UControl::isEnabled() const
{
  return UView::isEnabled() && (!value_ || value_->isEnabled());
}

void UControl::update(CmObject* subject, int32_t code)
{
  if (!value_ || subject != value_)
    return;
  if (code == UValue::goneNotice) {
    value_ = nullptr;
    editing_ = false;
  }
  valueChanged();
}

// The edit

void UControl::beginEdit()
{
  if (editing_)
    return;
  editing_ = true;
  if (value_)
    value_->edit(true);
}

void UControl::endEdit()
{
  if (!editing_)
    return;
  editing_ = false;
  if (value_)
    value_->edit(false);
}

bool UControl::mouseDown(const UMouseEvent& event)
{
  const bool isPress = event.button == 0 || event.button == platform::leftButton;
  if (!isPress || (value_ && value_->isReadOnly()))
    return false;
  beginEdit();
  const bool takes = pressed(event);
  if (!takes || event.button == 0) { // a click by key has no release
    if (takes)
      released(event);
    endEdit();
  }
  return takes;
}

void UControl::mouseMoved(const UMouseEvent& event)
{
  if (editing_)
    dragged(event);
}

void UControl::mouseUp(const UMouseEvent& event)
{
  if (!editing_ || event.button != platform::leftButton)
    return;
  released(event);
  endEdit();
}

void UControl::mouseCancelled()
{
  if (!editing_)
    return;
  cancelled();
  endEdit();
}

void UControl::detached()
{
  mouseCancelled();
}

} // namespace orbi
