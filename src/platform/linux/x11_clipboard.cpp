#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_clipboard.h"

#include "platform/clock.h"
#include "platform/linux/x11_window_system.h"
#include "platform/utf8_text.h"

#include <algorithm>
#include <poll.h>
#include <utility>

namespace orbi::platform {

namespace {

constexpr int64_t longestRead = 1'000'000'000;   // nanoseconds
constexpr int64_t idlePatience = 5000;           // milliseconds, for one who takes nothing away
constexpr size_t longestText = size_t(16) << 20; // bytes
constexpr uint32_t eventsOfTakers =
    XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;

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
  forget();
  text_ = std::make_shared<const std::string>(std::move(text));
  display.x.xcb_set_selection_owner(display.connection, system_.leader(), display.atoms.clipboard,
                                    XCB_CURRENT_TIME);
}

void X11Clipboard::forget()
{
  text_.reset();
  latin1_.reset();
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
  // Whoever asks once more reads what comes now.
  if (const auto former = find(request.requestor, property); former != transfers_.end())
    end(former);
  constexpr size_t ofTheRequest = 64; // bytes beside the text
  Transfer whole{request.requestor, property,
                 isUtf8 ? atoms.utf8String : xcb_atom_t(XCB_ATOM_STRING),
                 isUtf8 ? text_ : inLatin1()};
  if (whole.text->size() + ofTheRequest > display.largestRequest())
    return giveInParts(std::move(whole));
  display.setBytes(whole.window, property, whole.type, *whole.text);
  return true;
}

X11Clipboard::Text X11Clipboard::inLatin1()
{
  if (!latin1_)
    latin1_ = std::make_shared<const std::string>(toLatin1(*text_));
  return latin1_;
}

X11Clipboard::Transfers::iterator X11Clipboard::find(xcb_window_t window, xcb_atom_t property)
{
  return std::ranges::find_if(transfers_, [&](const Transfer& each) {
    return each.window == window && each.property == property;
  });
}

/// Those who ask and never take anything away give way to later ones.
bool X11Clipboard::giveInParts(Transfer transfer)
{
  constexpr size_t mostTransfers = 8;
  X11Display& display = system_.display();
  while (transfers_.size() >= mostTransfers)
    drop(transfers_.begin());
  if (!display.watch(transfer.window, eventsOfTakers))
    return false;
  display.setNumber(transfer.window, transfer.property, display.atoms.incr,
                    static_cast<uint32_t>(std::min<size_t>(transfer.text->size(), UINT32_MAX)));
  transfers_.push_back(std::move(transfer));
  if (timer_ == 0)
    timer_ = RunLoop::instance()->addTimer(idlePatience, [this] { dropIdle(); });
  return true;
}

X11Clipboard::Transfers::iterator X11Clipboard::end(Transfers::iterator transfer)
{
  system_.display().unwatch(transfer->window, eventsOfTakers);
  const auto next = transfers_.erase(transfer);
  if (transfers_.empty())
    stopWaiting();
  return next;
}

/// Before its time, with the empty part for which the one who takes it waits.
X11Clipboard::Transfers::iterator X11Clipboard::drop(Transfers::iterator transfer)
{
  system_.display().setBytes(transfer->window, transfer->property, transfer->type, {});
  return end(transfer);
}

void X11Clipboard::dropIdle()
{
  for (auto each = transfers_.begin(); each != transfers_.end();)
    each = std::exchange(each->isTaken, false) ? each + 1 : drop(each);
}

void X11Clipboard::stopWaiting()
{
  RunLoop* loop = RunLoop::instance();
  const RunLoop::TimerId timer = std::exchange(timer_, 0);
  if (timer != 0 && loop != nullptr)
    loop->removeTimer(timer);
}

/// The last part is empty.
bool X11Clipboard::handle(const xcb_property_notify_event_t& event)
{
  constexpr size_t longestPart = size_t(256) << 10;
  const X11Display& display = system_.display();
  if (event.window == system_.leader() && event.atom == display.atoms.ownText) {
    // Nobody reads now: whoever still gives shall come to an end.
    if (event.state == XCB_PROPERTY_NEW_VALUE)
      display.removeProperty(event.window, event.atom);
    return true;
  }
  const auto found = find(event.window, event.atom);
  if (found == transfers_.end())
    return false;
  if (event.state != XCB_PROPERTY_DELETE)
    return true;
  const std::string_view part =
      std::string_view(*found->text)
          .substr(found->given, std::min(longestPart, display.largestRequest() / 2));
  display.setBytes(found->window, found->property, found->type, part);
  found->given += part.size();
  found->isTaken = true;
  if (part.empty())
    end(found);
  return true;
}

bool X11Clipboard::handle(const xcb_destroy_notify_event_t& event)
{
  bool isOfOne = false;
  for (auto each = transfers_.begin(); each != transfers_.end();) {
    const bool goes = each->window == event.window;
    isOfOne |= goes;
    each = goes ? end(each) : each + 1;
  }
  return isOfOne;
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
  const int64_t end = steadyNanoseconds() + longestRead;
  for (const xcb_atom_t target : {display.atoms.utf8String, xcb_atom_t(XCB_ATOM_STRING)}) {
    if (!ask(target, end))
      continue;
    const X11Display::Part part = take();
    const std::string bytes = part.type == display.atoms.incr ? takeParts(end)
                              : part.isWhole                  ? part.bytes
                                                              : std::string();
    return target == XCB_ATOM_STRING ? latin1(bytes) : validUtf8(bytes);
  }
  return {};
}

/// The first event that fits, taken out of those that wait; the others stay for the loop. Null when
/// there is none until `end`, or so many others that there is no room for it.
X11Reply<xcb_generic_event_t> X11Clipboard::await(int64_t end, const Test& test)
{
  const X11Display& display = system_.display();
  display.x.xcb_flush(display.connection);
  for (size_t tested = 0; !display.isLost();) {
    auto& events = system_.readEvents();
    for (; tested < events.size(); ++tested) {
      if (!test(*events[tested]))
        continue;
      auto result = std::move(events[tested]);
      events.erase(events.begin() + static_cast<std::ptrdiff_t>(tested));
      return result;
    }
    const int64_t left = end - steadyNanoseconds();
    if (left <= 0 || events.size() >= X11WindowSystem::mostEvents)
      break;
    pollfd waited{system_.descriptor(), POLLIN, 0};
    poll(&waited, 1, static_cast<int>(left / 1'000'000 + 1));
  }
  return nullptr;
}

/// True once the owner has put its text where it was asked to.
bool X11Clipboard::ask(xcb_atom_t target, int64_t end)
{
  const X11Display& display = system_.display();
  display.removeProperty(system_.leader(), display.atoms.ownText);
  display.x.xcb_convert_selection(display.connection, system_.leader(), display.atoms.clipboard,
                                  target, display.atoms.ownText, display.time);
  const auto answer = await(end, [&](const xcb_generic_event_t& event) {
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

/// A long text comes in parts, the last of which is empty; without that one it is none.
std::string X11Clipboard::takeParts(int64_t end)
{
  const X11Display& display = system_.display();
  std::string result;
  while (result.size() <= longestText && steadyNanoseconds() < end) {
    const auto notice = await(end, [&](const xcb_generic_event_t& event) {
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
    if (!part.isWhole)
      break;
    if (part.bytes.empty())
      return result;
    result += part.bytes;
  }
  return {};
}

} // namespace orbi::platform

#endif
