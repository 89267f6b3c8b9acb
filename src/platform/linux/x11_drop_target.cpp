#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_drop_target.h"

#include "platform/linux/file_uri.h"
#include "platform/linux/x11_window.h"
#include "platform/linux/x11_window_system.h"

#include <algorithm>

namespace orbi::platform {

std::vector<std::filesystem::path> localFiles(std::string_view uris)
{
  std::vector<std::filesystem::path> result;
  while (!uris.empty()) {
    const size_t end = std::min(uris.find_first_of("\r\n"), uris.size());
    const std::filesystem::path file = localFile(uris.substr(0, end));
    if (!file.empty())
      result.push_back(file);
    uris.remove_prefix(std::min(end + 1, uris.size()));
  }
  return result;
}

bool X11DropTarget::handle(const xcb_client_message_event_t& event)
{
  const X11Atoms& atoms = system_.display().atoms;
  if (event.type == atoms.xdndEnter)
    enter(event);
  else if (event.type == atoms.xdndPosition)
    position(event);
  else if (event.type == atoms.xdndDrop)
    drop(event);
  else if (event.type == atoms.xdndLeave)
    source_ = 0;
  else
    return false;
  return true;
}

void X11DropTarget::enter(const xcb_client_message_event_t& event)
{
  const X11Display& display = system_.display();
  const uint32_t* data = event.data.data32;
  source_ = data[0];
  std::vector<uint32_t> types(data + 2, data + 5);
  if (data[1] & 1) // there are more than a message holds
    types = display.numbers(source_, display.atoms.xdndTypeList, XCB_ATOM_ATOM);
  hasFiles_ = std::ranges::count(types, display.atoms.textUriList) > 0;
}

void X11DropTarget::position(const xcb_client_message_event_t& event)
{
  const X11Display& display = system_.display();
  const uint32_t* data = event.data.data32;
  if (data[0] != source_)
    return;
  at_ = {static_cast<int16_t>(data[2] >> 16), static_cast<int16_t>(data[2] & 0xffff)};
  constexpr uint32_t accepts = 1, wantsAllPositions = 2;
  display.send(source_, source_, display.atoms.xdndStatus,
               {event.window, (hasFiles_ ? accepts : 0u) | wantsAllPositions, 0, 0,
                hasFiles_ ? display.atoms.xdndActionCopy : xcb_atom_t(XCB_ATOM_NONE)});
}

void X11DropTarget::drop(const xcb_client_message_event_t& event)
{
  const X11Display& display = system_.display();
  const uint32_t* data = event.data.data32;
  if (data[0] != source_ || source_ == 0)
    return;
  if (!hasFiles_) {
    finish(event.window, false);
    return;
  }
  display.x.xcb_convert_selection(display.connection, event.window, display.atoms.xdndSelection,
                                  display.atoms.textUriList, display.atoms.ownFiles, data[2]);
}

bool X11DropTarget::handle(const xcb_selection_notify_event_t& event)
{
  const X11Display& display = system_.display();
  if (event.selection != display.atoms.xdndSelection)
    return false;
  std::vector<std::filesystem::path> files;
  if (event.property == display.atoms.ownFiles) {
    files = localFiles(display.bytes(event.requestor, event.property));
    display.removeProperty(event.requestor, event.property);
  }
  const Point at = at_;
  finish(event.requestor, !files.empty());
  X11Window* window = system_.find(event.requestor);
  if (window == nullptr || files.empty())
    return true;
  const Point origin = window->client().origin();
  window->listener().filesDropped(files, {at.x - origin.x, at.y - origin.y});
  return true;
}

void X11DropTarget::finish(xcb_window_t window, bool accepted)
{
  const X11Display& display = system_.display();
  if (source_ != 0)
    display.send(source_, source_, display.atoms.xdndFinished,
                 {window, accepted ? 1u : 0u,
                  accepted ? display.atoms.xdndActionCopy : xcb_atom_t(XCB_ATOM_NONE), 0, 0});
  source_ = 0;
}

} // namespace orbi::platform

#endif
