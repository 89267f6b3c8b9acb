#include "ui/views/base_view.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(UBaseView);

namespace {

/// Calls for each view in the tree, parents before their children. What is called may change it.
template <class View, class Call>
void walk(View& view, const Call& call)
{
  call(view);
  const std::vector<Ref<UView>> before(view.children().begin(), view.children().end());
  for (const Ref<UView>& child : before)
    walk(*child, call);
}

void collectFocusable(UView& view, std::vector<UView*>& found)
{
  if (!view.isVisible() || !view.isEnabled())
    return;
  if (view.isFocusable())
    found.push_back(&view);
  for (const Ref<UView>& child : view.children())
    collectFocusable(*child, found);
}

} // namespace

void UBaseView::setLimits(Size smallest, Size largest)
{
  smallest_ = smallest;
  largest_ = largest;
}

int32_t UBaseView::tellController(FMessage& message)
{
  CmObject* object = controller_ ? controller_->getControllerObject() : nullptr;
  return object && object != this ? object->handleMessage(message) : 0;
}

std::vector<UView*> UBaseView::focusableViews()
{
  std::vector<UView*> found;
  collectFocusable(*this, found);
  return found;
}

void UBaseView::resetFocus()
{
  const std::vector<UView*> views = focusableViews();
  if (!views.empty())
    views.front()->takeFocus();
}

void UBaseView::storeViews(FAttributes& attributes) const
{
  walk(*this, [&](const UView& view) {
    auto state = make<FAttributes>();
    if (!view.name().isEmpty() && view.storeState(*state))
      attributes.setObject(view.name().text(), state.detach(), ObjectMode::adopted);
  });
}

void UBaseView::loadViews(const FAttributes& attributes)
{
  walk(static_cast<UView&>(*this), [&](UView& view) {
    if (const auto* state = attributes.getObject<FAttributes>(view.name().text()))
      view.loadState(*state);
  });
}

int32_t UBaseView::handleMessage(FMessage& message)
{
  if (message.isMessage("redrawWindow"))
    invalidate();
  else if (message.isMessage("ResetControllerFocus"))
    resetFocus();
  else
    return UView::handleMessage(message);
  return 1;
}

} // namespace orbi
