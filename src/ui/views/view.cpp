#include "ui/views/view.h"

#include "foundation/class_registry.h"
#include "ui/application.h"
#include "ui/views/base_view.h"
#include "ui/views/desktop.h"
#include "ui/views/window.h"

#include <algorithm>

namespace orbi {

CM_REGISTER(UView);

UView::UView(const Rect& rect, std::string_view title) : rect_(rect), title_(title) {}

UView::~UView()
{
  for (const Ref<UView>& child : children_)
    child->parent_ = nullptr;
  if (UDesktop* desktop = UDesktop::instance())
    desktop->forget(*this);
  if (FMessenger* messenger = FMessenger::instance())
    messenger->remove(static_cast<CmObject*>(this));
  if (UApplication* application = UApplication::instance()) {
    application->removeIdle(this);
    if (application->activeControl() == this)
      application->setActiveControl(nullptr);
  }
}

// Place

void UView::setRect(const Rect& rect)
{
  if (rect == rect_)
    return;
  const Rect former = rect_;
  if (parent_)
    invalidateInParent(former);
  rect_ = rect;
  if (parent_)
    invalidateInParent(rect_);
  if (former.size() != rect.size())
    resizeChildren(former.size(), rect.size());
}

/// Sizes may go below nothing on the way and come back as they were.
void UView::resizeChildren(Size from, Size to)
{
  const auto follow = [](int32_t& low, int32_t& high, bool toLow, bool toHigh, int32_t difference) {
    if (!toHigh)
      return;
    high += difference;
    if (!toLow)
      low += difference;
  };
  const std::vector<Ref<UView>> before = children_;
  for (const Ref<UView>& child : before) {
    Rect rect = child->rect_;
    const uint32_t mask = child->attach_;
    follow(rect.left, rect.right, mask & attachLeft, mask & attachRight, to.width - from.width);
    follow(rect.top, rect.bottom, mask & attachTop, mask & attachBottom, to.height - from.height);
    child->setRect(rect);
  }
}

Point UView::toWindow(Point point) const
{
  for (const UView* view = this; view->parent_; view = view->parent_)
    point = {point.x + view->rect_.left, point.y + view->rect_.top};
  return point;
}

Point UView::fromWindow(Point point) const
{
  const Point origin = toWindow(Point{});
  return {point.x - origin.x, point.y - origin.y};
}

Rect UView::toWindow(const Rect& rect) const
{
  const Point origin = toWindow(Point{});
  return rect.movedBy(origin.x, origin.y);
}

// Tree

UWindow* UView::window()
{
  return parent_ ? parent_->window() : nullptr;
}

UBaseView* UView::form()
{
  return parent_ ? parent_->form() : nullptr;
}

bool UView::isWithin(const UView& view) const
{
  for (const UView* each = this; each; each = each->parent_)
    if (each == &view)
      return true;
  return false;
}

UView& UView::add(Ref<UView> child)
{
  UView& view = *child;
  if (view.parent_)
    view.parent_->remove(view);
  view.parent_ = this;
  children_.push_back(std::move(child));
  view.tellAttached(true);
  view.invalidate();
  return view;
}

Ref<UView> UView::remove(UView& child)
{
  if (child.parent_ != this)
    return nullptr;
  const Ref<UView> kept = Ref<UView>::share(&child);
  invalidate(child.rect_);
  child.forgetTree();
  if (UWindow* owner = window())
    owner->viewRemoved(child);
  child.tellAttached(false);
  if (child.parent_ == this) { // still, after it was told
    child.parent_ = nullptr;
    std::erase_if(children_, [&](const Ref<UView>& each) { return each == &child; });
  }
  return kept;
}

void UView::removeAll()
{
  while (!children_.empty())
    remove(*children_.back());
}

UView* UView::findView(std::string_view name)
{
  if (name_ == name)
    return this;
  for (const Ref<UView>& child : children_)
    if (UView* found = child->findView(name))
      return found;
  return nullptr;
}

void UView::tellAttached(bool isAttached)
{
  if (isAttached)
    attached();
  const std::vector<Ref<UView>> before = children_;
  for (const Ref<UView>& child : before)
    child->tellAttached(isAttached);
  if (!isAttached)
    detached();
}

void UView::forgetTree()
{
  if (UWindow* owner = window())
    owner->letGo(*this);
  if (UDesktop* desktop = UDesktop::instance())
    desktop->forget(*this);
  UApplication* application = UApplication::instance();
  UView* active = application ? application->activeControl() : nullptr;
  if (active && active->isWithin(*this))
    application->setActiveControl(nullptr);
}

// Properties

void UView::setTitle(std::string_view title)
{
  if (title_ == title)
    return;
  title_.set(title);
  invalidate();
}

bool UView::isShown() const
{
  for (const UView* view = this; view; view = view->parent_)
    if (!view->visible_)
      return false;
  return true;
}

void UView::setVisible(bool visible)
{
  if (visible == visible_)
    return;
  if (!visible) {
    invalidate();
    forgetTree();
  }
  visible_ = visible;
  invalidate();
}

void UView::setEnabled(bool enabled)
{
  if (enabled == enabled_)
    return;
  enabled_ = enabled;
  if (!enabled)
    forgetTree();
  invalidate();
}

// Drawing

void UView::invalidate(const Rect& rect)
{
  const Rect own = rect.intersectedWith(bounds());
  if (visible_ && !own.isEmpty())
    invalidateInParent(own.movedBy(rect_.left, rect_.top));
}

void UView::invalidateInParent(const Rect& rect)
{
  if (parent_)
    parent_->invalidate(rect);
}

void UView::drawTree(Canvas& canvas, std::span<const Rect> damage, Point origin)
{
  const Rect area = Rect::at(origin, size());
  Rect met;
  for (const Rect& rect : damage)
    met = met.unitedWith(rect.intersectedWith(area));
  if (!visible_ || met.isEmpty())
    return;
  canvas.save();
  canvas.clip(area);
  canvas.translate(origin.x, origin.y);
  draw(canvas, met.movedBy(-origin.x, -origin.y));
  canvas.translate(-origin.x, -origin.y);
  for (const Ref<UView>& child : children_)
    child->drawTree(canvas, damage, {origin.x + child->rect_.left, origin.y + child->rect_.top});
  canvas.restore();
}

// The pointer

UView* UView::viewAt(Point point, Reach reach)
{
  if (!visible_ || !bounds().contains(point) || !hits(point))
    return nullptr;
  if (reach == Reach::enabled && !isEnabled())
    return nullptr;
  for (size_t i = children_.size(); i-- > 0;) {
    UView& child = *children_[i];
    if (UView* found = child.viewAt({point.x - child.rect_.left, point.y - child.rect_.top}, reach))
      return found;
  }
  return this;
}

bool UView::takeMouse()
{
  UWindow* owner = window();
  return owner && owner->takeMouse(*this);
}

void UView::releaseMouse()
{
  if (UWindow* owner = window())
    owner->releaseMouse(*this);
}

bool UView::hasMouse()
{
  UWindow* owner = window();
  return owner && owner->mouseView() == this;
}

// Keys

bool UView::takeFocus()
{
  UWindow* owner = window();
  return owner && owner->setFocusView(this);
}

bool UView::hasFocus()
{
  UWindow* owner = window();
  return owner && owner->focusView() == this;
}

} // namespace orbi
