#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_drop_target.h"

#include "platform/linux/x11_window.h"
#include "platform/linux/x11_window_system.h"

#include <algorithm>
#include <unistd.h>

namespace orbi::platform {

namespace {

int digitOf(char c)
{
  if (c >= '0' && c <= '9')
    return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Bytes written as a percent sign and two digits; nothing when there is a zero among them.
std::optional<std::string> decoded(std::string_view text)
{
  std::string result;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%' && i + 2 < text.size() && digitOf(text[i + 1]) >= 0 && digitOf(text[i + 2]) >= 0) {
      c = static_cast<char>(digitOf(text[i + 1]) * 16 + digitOf(text[i + 2]));
      i += 2;
    }
    if (c == '\0')
      return std::nullopt;
    result += c;
  }
  return result;
}

bool isThisMachine(std::string_view host)
{
  char own[256] = {};
  gethostname(own, sizeof own - 1);
  return host.empty() || host == "localhost" || host == own;
}

/// Where a file's URI leads on this machine; empty for any other.
std::filesystem::path localFile(std::string_view uri)
{
  constexpr std::string_view scheme = "file:";
  if (!uri.starts_with(scheme))
    return {};
  uri.remove_prefix(scheme.size());
  if (uri.starts_with("//")) {
    uri.remove_prefix(2);
    const size_t end = std::min(uri.find('/'), uri.size());
    if (!isThisMachine(uri.substr(0, end)))
      return {};
    uri.remove_prefix(end);
  }
  if (!uri.starts_with('/'))
    return {};
  return decoded(uri).value_or(std::string());
}

} // namespace

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
