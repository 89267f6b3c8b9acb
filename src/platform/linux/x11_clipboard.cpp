#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_clipboard.h"

#include "platform/clock.h"
#include "platform/linux/x11_window_system.h"
#include "platform/utf8_text.h"

#include <algorithm>
#include <poll.h>

namespace orbi::platform {

namespace {

constexpr int64_t patience = 500'000'000;        // nanoseconds, for each part
constexpr int64_t longestRead = 2'000'000'000;   // for all of them
constexpr size_t longestText = size_t(16) << 20; // bytes

std::string latin1(std::string_view bytes)
{
  std::string result;
  for (const char c : bytes) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x80) {
      result += c;
    } else {
      result += static_cast<char>(0xc0 | code >> 6);
      result += static_cast<char>(0x80 | (code & 0x3f));
    }
  }
  return result;
}

/// With a question mark for each character that isn't in Latin-1.
std::string toLatin1(std::string_view text)
{
  std::string result;
  for (size_t i = 0; i < text.size();) {
    const size_t length = std::max<size_t>(utf8Length(text.substr(i)), 1);
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80)
      result += text[i];
    else if (length == 2 && lead <= 0xc3)
      result += static_cast<char>((lead & 3) << 6 | (text[i + 1] & 0x3f));
    else
      result += '?';
    i += length;
  }
  return result;
}

} // namespace

void X11Clipboard::set(std::string text)
{
  const X11Display& display = system_.display();
  text_ = std::move(text);
  display.x.xcb_set_selection_owner(display.connection, system_.leader(), display.atoms.clipboard,
                                    XCB_CURRENT_TIME);
}

// ---- giving -------------------------------------------------------------------------------------

void X11Clipboard::answer(const xcb_selection_request_event_t& request)
{
  const X11Display& display = system_.display();
  // Old clients name no property.
  const xcb_atom_t property = request.property != XCB_ATOM_NONE ? request.property : request.target;
  xcb_selection_notify_event_t event[2]{}; // the server reads 32 bytes
  event[0].response_type = XCB_SELECTION_NOTIFY;
  event[0].time = request.time;
  event[0].requestor = request.requestor;
  event[0].selection = request.selection;
  event[0].target = request.target;
  event[0].property = give(request, property) ? property : xcb_atom_t(XCB_ATOM_NONE);
  display.x.xcb_send_event(display.connection, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                           reinterpret_cast<const char*>(event));
}

bool X11Clipboard::give(const xcb_selection_request_event_t& request, xcb_atom_t property)
{
  const X11Display& display = system_.display();
  const X11Atoms& atoms = display.atoms;
  if (!text_ || request.selection != atoms.clipboard)
    return false;
  if (request.target == atoms.targets) {
    const uint32_t offered[] = {atoms.targets, atoms.utf8String, atoms.text, XCB_ATOM_STRING};
    display.setNumbers(request.requestor, property, XCB_ATOM_ATOM, offered);
    return true;
  }
  const bool isUtf8 = request.target == atoms.utf8String || request.target == atoms.text;
  if (!isUtf8 && request.target != XCB_ATOM_STRING)
    return false;
  constexpr size_t ofTheRequest = 64; // bytes beside the text
  Transfer whole{request.requestor, property,
                 isUtf8 ? atoms.utf8String : xcb_atom_t(XCB_ATOM_STRING),
                 isUtf8 ? *text_ : toLatin1(*text_)};
  if (whole.text.size() + ofTheRequest > display.largestRequest())
    return giveInParts(std::move(whole));
  display.setBytes(whole.window, property, whole.type, whole.text);
  return true;
}

/// Those who ask and never take anything away give way to later ones.
bool X11Clipboard::giveInParts(Transfer transfer)
{
  constexpr size_t mostTransfers = 8;
  const X11Display& display = system_.display();
  std::erase_if(transfers_, [&](const Transfer& each) { // asked for once more
    return each.window == transfer.window && each.property == transfer.property;
  });
  while (transfers_.size() >= mostTransfers)
    end(transfers_.begin());
  if (system_.isOurs(transfer.window) ||
      !display.watch(transfer.window,
                     XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY))
    return false;
  display.setNumber(transfer.window, transfer.property, display.atoms.incr,
                    static_cast<uint32_t>(std::min<size_t>(transfer.text.size(), UINT32_MAX)));
  transfers_.push_back(std::move(transfer));
  return true;
}

void X11Clipboard::end(std::deque<Transfer>::iterator transfer)
{
  const xcb_window_t window = transfer->window;
  transfers_.erase(transfer);
  if (std::ranges::count(transfers_, window, &Transfer::window) == 0)
    system_.display().watch(window, XCB_EVENT_MASK_NO_EVENT);
}

/// The last part is empty.
bool X11Clipboard::handle(const xcb_property_notify_event_t& event)
{
  constexpr size_t longestPart = size_t(256) << 10;
  const auto found = std::ranges::find_if(transfers_, [&](const Transfer& each) {
    return each.window == event.window && each.property == event.atom;
  });
  if (found == transfers_.end())
    return false;
  if (event.state != XCB_PROPERTY_DELETE)
    return true;
  const std::string_view part = std::string_view(found->text).substr(found->given, longestPart);
  system_.display().setBytes(found->window, found->property, found->type, part);
  found->given += part.size();
  if (part.empty())
    end(found);
  return true;
}

bool X11Clipboard::handle(const xcb_destroy_notify_event_t& event)
{
  return std::erase_if(transfers_,
                       [&](const Transfer& each) { return each.window == event.window; }) > 0;
}

// ---- taking -------------------------------------------------------------------------------------

std::string X11Clipboard::read()
{
  const X11Display& display = system_.display();
  const auto owner =
      display.reply(display.x.xcb_get_selection_owner_reply,
                    display.x.xcb_get_selection_owner(display.connection, display.atoms.clipboard));
  if (!owner || owner->owner == XCB_NONE)
    return {};
  if (text_ && owner->owner == system_.leader())
    return *text_;
  for (const xcb_atom_t target : {display.atoms.utf8String, xcb_atom_t(XCB_ATOM_STRING)}) {
    if (!ask(target))
      continue;
    X11Display::Part part = take();
    const std::string bytes = part.type == display.atoms.incr ? takeParts() : std::move(part.bytes);
    return target == XCB_ATOM_STRING ? latin1(bytes) : validUtf8(bytes);
  }
  return {};
}

/// The first event that fits, taken out of those that wait; the others stay for the loop.
X11Reply<xcb_generic_event_t> X11Clipboard::await(int64_t nanoseconds, const Test& test)
{
  const X11Display& display = system_.display();
  const int64_t end = steadyNanoseconds() + nanoseconds;
  display.x.xcb_flush(display.connection);
  while (!display.isLost()) {
    auto& events = system_.readEvents();
    const auto found = std::ranges::find_if(events, [&](const auto& each) { return test(*each); });
    if (found != events.end()) {
      auto result = std::move(*found);
      events.erase(found);
      return result;
    }
    const int64_t left = end - steadyNanoseconds();
    if (left <= 0)
      break;
    pollfd waited{system_.descriptor(), POLLIN, 0};
    poll(&waited, 1, static_cast<int>(left / 1'000'000 + 1));
  }
  return nullptr;
}

/// True once the owner has put its text where it was asked to.
bool X11Clipboard::ask(xcb_atom_t target)
{
  const X11Display& display = system_.display();
  display.removeProperty(system_.leader(), display.atoms.ownText);
  display.x.xcb_convert_selection(display.connection, system_.leader(), display.atoms.clipboard,
                                  target, display.atoms.ownText, display.time);
  const auto answer = await(patience, [&](const xcb_generic_event_t& event) {
    const auto& notice = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
    return (event.response_type & 0x7f) == XCB_SELECTION_NOTIFY &&
           notice.requestor == system_.leader() && notice.target == target;
  });
  return answer &&
         reinterpret_cast<const xcb_selection_notify_event_t&>(*answer).property != XCB_ATOM_NONE;
}

/// What the property holds, and tells the owner by removing it that it was read.
X11Display::Part X11Clipboard::take()
{
  return system_.display().take(system_.leader(), system_.display().atoms.ownText, longestText);
}

/// A long text comes in parts, the last of which is empty.
std::string X11Clipboard::takeParts()
{
  const X11Display& display = system_.display();
  const int64_t end = steadyNanoseconds() + longestRead;
  std::string result;
  while (steadyNanoseconds() < end && result.size() < longestText) {
    const auto notice = await(patience, [&](const xcb_generic_event_t& event) {
      const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
      return (event.response_type & 0x7f) == XCB_PROPERTY_NOTIFY &&
             change.window == system_.leader() && change.atom == display.atoms.ownText &&
             change.state == XCB_PROPERTY_NEW_VALUE;
    });
    if (!notice)
      break;
    const X11Display::Part part = take();
    if (part.type == XCB_ATOM_NONE)
      continue; // an older change
    if (part.bytes.empty())
      break;
    result += part.bytes;
  }
  result.resize(std::min(result.size(), longestText));
  return result;
}

} // namespace orbi::platform

#endif
