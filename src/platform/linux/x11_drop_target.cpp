#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_drop_target.h"

#include "platform/linux/file_uri.h"
#include "platform/linux/x11_window.h"
#include "platform/linux/x11_window_system.h"

#include <algorithm>
#include <utility>

namespace orbi::platform {

namespace {

constexpr size_t longestList = size_t(4) << 20; // bytes, of URIs
constexpr int64_t listPatience = 1000;          // milliseconds, for it or its next part
constexpr int64_t statusPatience = 500;         // for a plug-in's window under the pointer
constexpr int64_t dropPatience = 5000;          // once it has got the drop

} // namespace

// ---- what came ----------------------------------------------------------------------------------

struct X11DropTarget::Handler {
  xcb_atom_t X11Atoms::*type;
  void (X11DropTarget::*handle)(const xcb_client_message_event_t& event);
};

const X11DropTarget::Handler X11DropTarget::handlers[] = {
    {&X11Atoms::xdndEnter, &X11DropTarget::enter},
    {&X11Atoms::xdndPosition, &X11DropTarget::position},
    {&X11Atoms::xdndDrop, &X11DropTarget::drop},
    {&X11Atoms::xdndLeave, &X11DropTarget::leave},
    {&X11Atoms::xdndStatus, &X11DropTarget::childAnswered},
    {&X11Atoms::xdndFinished, &X11DropTarget::childFinished},
};

void X11DropTarget::handle(const xcb_client_message_event_t& event)
{
  const X11Atoms& atoms = system_.display().atoms;
  for (const Handler& each : handlers)
    if (event.type == atoms.*each.type)
      (this->*each.handle)(event);
}

/// Of the present drag, by the one who drags.
bool X11DropTarget::isOf(const xcb_client_message_event_t& event) const
{
  return drag_ && event.data.data32[0] == drag_->source() && event.window == drag_->window &&
         !drag_->isDropped;
}

bool X11DropTarget::offersFiles(const X11Display::Message& entered) const
{
  const X11Display& display = system_.display();
  std::vector<uint32_t> types(entered.begin() + 2, entered.end());
  if (entered[1] & 1) // there are more than a message holds
    types = display.numbers(entered[0], display.atoms.xdndTypeList, XCB_ATOM_ATOM);
  return std::ranges::count(types, display.atoms.textUriList) > 0;
}

void X11DropTarget::enter(const xcb_client_message_event_t& event)
{
  Drag drag{.entered = {}, .window = event.window};
  std::ranges::copy(event.data.data32, drag.entered.begin());
  // What we hand on to plug-ins isn't for us.
  if (system_.find(event.window) == nullptr || drag.source() == system_.leader() ||
      !system_.display().watch(drag.source(), XCB_EVENT_MASK_STRUCTURE_NOTIFY))
    return;
  if (offersFiles(drag.entered))
    drag.list = List::unread;
  finish(false, XCB_ATOM_NONE); // a former one
  drag_ = std::move(drag);
}

void X11DropTarget::position(const xcb_client_message_event_t& event)
{
  if (!isOf(event))
    return;
  const uint32_t* data = event.data.data32;
  drag_->at = {static_cast<int16_t>(data[2] >> 16), static_cast<int16_t>(data[2] & 0xffff)};
  drag_->time = data[3];
  drag_->action = data[4];
  drag_->owesStatus = true;
  if (drag_->list == List::unread)
    askForList();
  else
    goOn();
}

void X11DropTarget::drop(const xcb_client_message_event_t& event)
{
  if (!isOf(event))
    return;
  drag_->time = event.data.data32[2];
  drag_->isDropped = true;
  drag_->owesStatus = false;
  const bool mayHaveIt = drag_->list == List::withheld && relay_.target() == 0;
  if (drag_->list == List::unread || mayHaveIt)
    askForList();
  else
    goOn();
}

void X11DropTarget::leave(const xcb_client_message_event_t& event)
{
  if (isOf(event))
    end();
}

void X11DropTarget::handle(const xcb_destroy_notify_event_t& event)
{
  if (!drag_)
    return;
  if (event.window == relay_.target()) {
    relay_.forget();
    if (drag_->isDropped)
      finish(false, XCB_ATOM_NONE);
    else if (drag_->owesStatus)
      goOn();
  } else if (event.window == drag_->source()) {
    end();
  }
}

void X11DropTarget::forget(xcb_window_t window)
{
  if (drag_ && drag_->window == window)
    finish(false, XCB_ATOM_NONE);
}

void X11DropTarget::forget()
{
  stopWaiting();
  relay_.forget();
  drag_.reset();
}

// ---- the list of files --------------------------------------------------------------------------

void X11DropTarget::askForList()
{
  const X11Display& display = system_.display();
  display.removeProperty(drag_->window, display.atoms.ownFiles);
  display.x.xcb_convert_selection(display.connection, drag_->window, display.atoms.xdndSelection,
                                  display.atoms.textUriList, display.atoms.ownFiles, drag_->time);
  drag_->list = List::asked;
  drag_->asked = drag_->time;
  await(listPatience);
}

void X11DropTarget::handle(const xcb_selection_notify_event_t& event)
{
  const X11Display& display = system_.display();
  if (!drag_ || drag_->list != List::asked || event.selection != display.atoms.xdndSelection ||
      event.requestor != drag_->window)
    return;
  if (drag_->asked != XCB_CURRENT_TIME && event.time != drag_->asked)
    return; // a former drag's
  if (event.property != display.atoms.ownFiles) {
    listIsWithheld();
    return;
  }
  X11Display::Part part = display.take(drag_->window, event.property, longestList);
  if (part.type == display.atoms.incr) { // it comes in parts, the last of which is empty
    drag_->list = List::arriving;
    drag_->uris.clear();
    await(listPatience);
  } else if (part.isWhole) {
    listCame(std::move(part.bytes));
  } else {
    listIsWithheld();
  }
}

bool X11DropTarget::handle(const xcb_property_notify_event_t& event)
{
  const X11Display& display = system_.display();
  if (event.atom != display.atoms.ownFiles)
    return false;
  const List list = drag_ && event.window == drag_->window ? drag_->list : List::none;
  if (event.state != XCB_PROPERTY_NEW_VALUE || list == List::asked)
    return true;
  if (list != List::arriving) { // whoever still gives shall come to an end
    display.removeProperty(event.window, event.atom);
    return true;
  }
  const X11Display::Part part = display.take(drag_->window, event.atom, longestList);
  if (part.type == XCB_ATOM_NONE)
    return true; // an older change
  drag_->uris += part.bytes;
  if (!part.isWhole || drag_->uris.size() > longestList)
    listIsWithheld();
  else if (part.bytes.empty())
    listCame(std::move(drag_->uris));
  else
    await(listPatience);
  return true;
}

void X11DropTarget::listCame(std::string uris)
{
  drag_->list = List::read;
  drag_->files = localFiles(uris);
  goOn();
}

void X11DropTarget::listIsWithheld()
{
  drag_->list = List::withheld;
  drag_->uris.clear();
  if (drag_->isDropped)
    finish(false, XCB_ATOM_NONE);
  else
    goOn();
}

// ---- who takes it -------------------------------------------------------------------------------

/// Does what is due, as far as it is known what that is.
void X11DropTarget::goOn()
{
  if (drag_->list == List::asked || drag_->list == List::arriving)
    return;
  stopWaiting();
  if (drag_->isDropped && relay_.target() != 0) {
    handOn();
    return;
  }
  const DropTaker taken = taker();
  if (!drag_)
    return; // the listener has closed its window
  if (taken == DropTaker::child) {
    handOn();
    return;
  }
  relay_.leave();
  const bool ours = taken == DropTaker::window;
  if (!drag_->isDropped)
    answer(ours, system_.display().atoms.xdndActionCopy);
  else if (ours)
    deliver();
  else
    finish(false, XCB_ATOM_NONE);
}

/// A plug-in's window has been entered when it is the one.
DropTaker X11DropTarget::taker()
{
  X11Window* window = system_.find(drag_->window);
  const DropTaker wanted =
      window != nullptr ? window->listener().filesDragged(drag_->files) : DropTaker::nobody;
  if (!drag_ || wanted != DropTaker::child)
    return wanted;
  const xcb_window_t child = relay_.find(drag_->window, drag_->at);
  if (child != 0 && (child == relay_.target() || relay_.enter(child, drag_->entered)))
    return DropTaker::child;
  // Some hand over what they have only once it is dropped.
  return drag_->list == List::withheld ? DropTaker::window : DropTaker::nobody;
}

void X11DropTarget::handOn()
{
  if (drag_->isDropped)
    relay_.drop(drag_->at, drag_->time, drag_->action);
  else
    relay_.position(drag_->at, drag_->time, drag_->action);
  await(drag_->isDropped ? dropPatience : statusPatience);
}

/// The listener may run the loop meanwhile, and another drag may come.
void X11DropTarget::deliver()
{
  const X11Display& display = system_.display();
  const Drag drag = *drag_;
  end();
  X11Window* window = system_.find(drag.window);
  const Point origin = window->client().origin();
  const bool taken =
      window->listener().filesDropped(drag.files, {drag.at.x - origin.x, drag.at.y - origin.y});
  display.send(drag.source(), drag.source(), display.atoms.xdndFinished,
               {drag.window, taken ? 1u : 0u,
                taken ? display.atoms.xdndActionCopy : xcb_atom_t(XCB_ATOM_NONE), 0, 0});
}

// ---- a plug-in's answers ------------------------------------------------------------------------

void X11DropTarget::childAnswered(const xcb_client_message_event_t& event)
{
  const uint32_t* data = event.data.data32;
  if (event.window == system_.leader() && drag_ && data[0] == relay_.target() &&
      !drag_->isDropped) {
    stopWaiting();
    answer(data[1] & 1, data[4]);
  }
}

void X11DropTarget::childFinished(const xcb_client_message_event_t& event)
{
  const uint32_t* data = event.data.data32;
  if (event.window != system_.leader() || !drag_ || data[0] != relay_.target() || !drag_->isDropped)
    return;
  constexpr uint32_t saysWhether = 5; // earlier versions only end with it
  if (relay_.version() >= saysWhether)
    finish(data[1] & 1, data[2]);
  else
    finish(true, drag_->action);
}

// ---- our answers --------------------------------------------------------------------------------

void X11DropTarget::answer(bool accepts, xcb_atom_t action)
{
  const X11Display& display = system_.display();
  constexpr uint32_t wantsAllPositions = 2;
  drag_->owesStatus = false;
  display.send(drag_->source(), drag_->source(), display.atoms.xdndStatus,
               {drag_->window, (accepts ? 1u : 0u) | wantsAllPositions, 0, 0,
                accepts ? action : xcb_atom_t(XCB_ATOM_NONE)});
}

/// The drag, whose source gets the answer that it still waits for.
void X11DropTarget::finish(bool accepted, xcb_atom_t action)
{
  const X11Display& display = system_.display();
  if (drag_ && drag_->isDropped)
    display.send(
        drag_->source(), drag_->source(), display.atoms.xdndFinished,
        {drag_->window, accepted ? 1u : 0u, accepted ? action : xcb_atom_t(XCB_ATOM_NONE), 0, 0});
  else if (drag_ && drag_->owesStatus)
    answer(false, XCB_ATOM_NONE);
  end();
}

void X11DropTarget::end()
{
  stopWaiting();
  if (!drag_)
    return;
  if (drag_->isDropped)
    relay_.forget();
  else
    relay_.leave();
  system_.display().unwatch(drag_->source(), XCB_EVENT_MASK_STRUCTURE_NOTIFY);
  drag_.reset();
}

// ---- patience -----------------------------------------------------------------------------------

void X11DropTarget::await(int64_t milliseconds)
{
  stopWaiting();
  timer_ = RunLoop::instance()->addTimer(milliseconds, [this] { waitedInVain(); });
}

void X11DropTarget::stopWaiting()
{
  RunLoop* loop = RunLoop::instance();
  const RunLoop::TimerId timer = std::exchange(timer_, 0);
  if (timer != 0 && loop != nullptr)
    loop->removeTimer(timer);
}

void X11DropTarget::waitedInVain()
{
  stopWaiting();
  if (drag_->list == List::asked || drag_->list == List::arriving)
    listIsWithheld();
  else if (drag_->isDropped)
    finish(false, XCB_ATOM_NONE);
  else if (drag_->owesStatus)
    answer(false, XCB_ATOM_NONE);
}

} // namespace orbi::platform

#endif
