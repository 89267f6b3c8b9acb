#include "soundfont/editor/drop_target_x11.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace soundfont {

namespace {

constexpr uint32_t longestList = 16384; // of URIs, in words of four bytes

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <class Reply>
using Owned = std::unique_ptr<Reply, Free>;

int hexDigit(char digit)
{
  return digit >= '0' && digit <= '9'   ? digit - '0'
         : digit >= 'a' && digit <= 'f' ? digit - 'a' + 10
         : digit >= 'A' && digit <= 'F' ? digit - 'A' + 10
                                        : -1;
}

std::string unescaped(const std::string& text)
{
  std::string result;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 &&
        hexDigit(text[i + 2]) >= 0) {
      result += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

bool isThisComputer(std::string_view host)
{
  char own[256] = {};
  gethostname(own, sizeof own - 1);
  return host.empty() || host == "localhost" || host == own;
}

} // namespace

std::string firstFileOf(const std::string& uriList)
{
  constexpr std::string_view scheme = "file:";
  for (size_t from = 0; from < uriList.size();) {
    const size_t end =
        std::min(uriList.find_first_of(std::string("\r\n\0", 3), from), uriList.size());
    std::string uri = uriList.substr(from, end - from);
    from = end + 1;
    if (uri.compare(0, scheme.size(), scheme) != 0)
      continue;
    uri.erase(0, scheme.size());
    if (uri.compare(0, 2, "//") == 0) {
      const size_t path = std::min(uri.find('/', 2), uri.size());
      if (!isThisComputer(std::string_view(uri).substr(2, path - 2)))
        continue;
      uri.erase(0, path);
    }
    std::string path = unescaped(uri);
    if (!path.empty() && path[0] == '/' && path.find('\0') == std::string::npos)
      return path;
  }
  return {};
}

DropTarget::DropTarget(const XcbLibrary& xcb, xcb_connection_t* connection, xcb_window_t window)
    : xcb_(xcb), connection_(connection), window_(window)
{
  const struct {
    xcb_atom_t& atom;
    const char* name;
  } names[] = {{atoms_.aware, "XdndAware"},
               {atoms_.enter, "XdndEnter"},
               {atoms_.position, "XdndPosition"},
               {atoms_.status, "XdndStatus"},
               {atoms_.leave, "XdndLeave"},
               {atoms_.drop, "XdndDrop"},
               {atoms_.finished, "XdndFinished"},
               {atoms_.selection, "XdndSelection"},
               {atoms_.typeList, "XdndTypeList"},
               {atoms_.actionCopy, "XdndActionCopy"},
               {atoms_.uriList, "text/uri-list"},
               {atoms_.data, "SOUNDFONT_DROP"},
               {atoms_.incr, "INCR"}};
  for (const auto& [atom, name] : names) {
    const auto cookie =
        xcb_.xcb_intern_atom(connection_, 0, static_cast<uint16_t>(std::strlen(name)), name);
    const Owned<xcb_intern_atom_reply_t> reply(
        xcb_.xcb_intern_atom_reply(connection_, cookie, nullptr));
    atom = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  }
  const uint32_t supported = version;
  xcb_.xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, atoms_.aware, XCB_ATOM_ATOM,
                           32, 1, &supported);
}

/// False when the source is gone already.
bool DropTarget::watchSource(uint32_t events) const
{
  const Owned<xcb_generic_error_t> error(xcb_.xcb_request_check(
      connection_,
      xcb_.xcb_change_window_attributes_checked(connection_, source_, XCB_CW_EVENT_MASK, &events)));
  return !error;
}

/// Answers whether one was over the window.
bool DropTarget::endDrag()
{
  if (source_ != XCB_NONE)
    watchSource(XCB_EVENT_MASK_NO_EVENT);
  source_ = XCB_NONE;
  comesInParts_ = false;
  asked_.reset();
  list_.clear();
  return std::exchange(accepts_, false);
}

/// The bytes of it, no more than a list of files has.
std::string DropTarget::property(xcb_window_t window, xcb_atom_t property, xcb_atom_t* type) const
{
  const Owned<xcb_get_property_reply_t> reply(
      xcb_.xcb_get_property_reply(connection_,
                                  xcb_.xcb_get_property(connection_, 0, window, property,
                                                        XCB_GET_PROPERTY_TYPE_ANY, 0, longestList),
                                  nullptr));
  if (!reply)
    return {};
  if (type)
    *type = reply->type;
  const auto* value = static_cast<const char*>(xcb_.xcb_get_property_value(reply.get()));
  return {value, static_cast<size_t>(xcb_.xcb_get_property_value_length(reply.get()))};
}

bool DropTarget::offersFiles(const xcb_client_message_event_t& enter) const
{
  const uint32_t* data = enter.data.data32;
  for (int i = 2; i < 5; ++i)
    if (data[i] == atoms_.uriList)
      return true;
  if (!(data[1] & 1)) // no longer list
    return false;
  const std::string list = property(data[0], atoms_.typeList);
  for (size_t at = 0; at + sizeof(xcb_atom_t) <= list.size(); at += sizeof(xcb_atom_t)) {
    xcb_atom_t type;
    std::memcpy(&type, list.data() + at, sizeof type);
    if (type == atoms_.uriList)
      return true;
  }
  return false;
}

void DropTarget::answer(xcb_atom_t type, uint32_t second, uint32_t fifth, uint32_t third)
{
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = source_;
  message.type = type;
  message.data.data32[0] = window_;
  message.data.data32[1] = second;
  message.data.data32[2] = third;
  message.data.data32[4] = fifth;
  xcb_.xcb_send_event(connection_, 0, source_, XCB_EVENT_MASK_NO_EVENT,
                      reinterpret_cast<const char*>(&message));
}

DropTarget::News DropTarget::handle(const xcb_generic_event_t& event)
{
  switch (event.response_type & 0x7F) {
  case XCB_CLIENT_MESSAGE:
    return handleMessage(reinterpret_cast<const xcb_client_message_event_t&>(event));
  case XCB_DESTROY_NOTIFY:
    if (reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window != source_)
      return News::none;
    return endDrag() ? News::left : News::none;
  case XCB_SELECTION_NOTIFY:
    return listCame(reinterpret_cast<const xcb_selection_notify_event_t&>(event));
  case XCB_PROPERTY_NOTIFY:
    return partCame(reinterpret_cast<const xcb_property_notify_event_t&>(event));
  default:
    return News::none;
  }
}

DropTarget::News DropTarget::handleMessage(const xcb_client_message_event_t& message)
{
  const uint32_t* data = message.data.data32;
  if (message.format != 32 || message.type == XCB_ATOM_NONE)
    return News::none;
  if (message.type == atoms_.enter) {
    const bool wasOver = endDrag();
    source_ = data[0];
    accepts_ = watchSource(XCB_EVENT_MASK_STRUCTURE_NOTIFY) && offersFiles(message);
    return accepts_ ? News::entered : wasOver ? News::left : News::none;
  }
  if (data[0] != source_ || source_ == XCB_NONE)
    return News::none;
  if (message.type == atoms_.position) {
    constexpr uint32_t taken = 1, keepTelling = 2;
    answer(atoms_.status, (accepts_ ? taken : 0u) | keepTelling, accepts_ ? atoms_.actionCopy : 0u);
  } else if (message.type == atoms_.leave) {
    endDrag();
    return News::left;
  } else if (message.type == atoms_.drop) {
    if (accepts_) {
      asked_ = data[2];
      xcb_.xcb_convert_selection(connection_, window_, atoms_.selection, atoms_.uriList,
                                 atoms_.data, data[2]);
      return News::none;
    }
    answer(atoms_.finished, 0, 0);
    endDrag();
  }
  return News::none;
}

DropTarget::News DropTarget::listCame(const xcb_selection_notify_event_t& notice)
{
  if (notice.selection != atoms_.selection || notice.requestor != window_ || !asked_)
    return News::none;
  if (*asked_ != XCB_CURRENT_TIME && notice.time != *asked_)
    return News::none; // a former drag's
  asked_.reset();
  if (notice.property) {
    xcb_atom_t type = XCB_ATOM_NONE;
    list_ = property(window_, atoms_.data, &type);
    comesInParts_ = type == atoms_.incr;
    if (comesInParts_)
      list_.clear(); // it is the length
    xcb_.xcb_delete_property(connection_, window_, atoms_.data);
  }
  return comesInParts_ ? News::none : finish();
}

/// The last one is empty. Of those beyond the longest list nothing is kept.
DropTarget::News DropTarget::partCame(const xcb_property_notify_event_t& change)
{
  if (!comesInParts_ || change.window != window_ || change.atom != atoms_.data ||
      change.state != XCB_PROPERTY_NEW_VALUE)
    return News::none;
  xcb_atom_t type = XCB_ATOM_NONE;
  const std::string part = property(window_, atoms_.data, &type);
  if (type == XCB_ATOM_NONE || type == atoms_.incr)
    return News::none; // an older change
  xcb_.xcb_delete_property(connection_, window_, atoms_.data);
  if (part.empty())
    return finish();
  if (list_.size() < longestList * sizeof(uint32_t))
    list_ += part;
  return News::none;
}

DropTarget::News DropTarget::finish()
{
  path_ = firstFileOf(list_);
  answer(atoms_.finished, path_.empty() ? 0 : 1, 0, path_.empty() ? 0u : atoms_.actionCopy);
  endDrag();
  return path_.empty() ? News::left : News::dropped;
}

} // namespace soundfont
