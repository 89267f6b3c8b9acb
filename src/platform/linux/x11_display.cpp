#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_display.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <numeric>
#include <sys/socket.h>

namespace orbi::platform {

namespace {

constexpr uint32_t longestProperty = 64 << 10; // 4-byte units that are read of one

xcb_screen_t* screenOf(const X11Library& x, xcb_connection_t* connection, int number)
{
  auto each = x.xcb_setup_roots_iterator(x.xcb_get_setup(connection));
  for (; each.rem > 1 && number > 0; --number)
    x.xcb_screen_next(&each);
  return each.rem > 0 ? each.data : nullptr;
}

} // namespace

std::unique_ptr<X11Display> X11Display::open(const X11Library& library, std::string& error)
{
  int number = 0;
  xcb_connection_t* connection = library.xcb_connect(nullptr, &number);
  xcb_screen_t* screen = nullptr;
  if (library.xcb_connection_has_error(connection) == 0)
    screen = screenOf(library, connection, number);
  if (screen == nullptr) {
    library.xcb_disconnect(connection);
    const char* name = std::getenv("DISPLAY");
    error = name == nullptr || *name == '\0'
                ? "There is no display: the variable DISPLAY isn't set."
                : std::string("The display ") + name + " can't be opened.";
    return nullptr;
  }
  return std::unique_ptr<X11Display>(new X11Display(library, connection, screen, number));
}

X11Display::X11Display(const X11Library& library, xcb_connection_t* connected, xcb_screen_t* screen,
                       int screenNumber)
    : x(library), connection(connected), screen_(screen), screenNumber_(screenNumber)
{
  internAtoms();
  findVisuals();
}

X11Display::~X11Display()
{
  x.xcb_disconnect(connection);
}

void X11Display::internAtoms()
{
  struct Row {
    xcb_atom_t X11Atoms::*member;
    std::string_view name;
    xcb_intern_atom_cookie_t cookie;
  };
#define ORBI_X11_ROW(member, name) {&X11Atoms::member, name, {}},
  Row rows[] = {ORBI_X11_ATOMS(ORBI_X11_ROW)};
#undef ORBI_X11_ROW
  const std::string compositor = "_NET_WM_CM_S" + std::to_string(screenNumber_);
  const auto asked =
      x.xcb_intern_atom(connection, 0, static_cast<uint16_t>(compositor.size()), compositor.data());
  // Asked for in one go, so that they cost one way there and back.
  for (Row& row : rows)
    row.cookie =
        x.xcb_intern_atom(connection, 0, static_cast<uint16_t>(row.name.size()), row.name.data());
  for (const Row& row : rows)
    if (const auto answer = reply(x.xcb_intern_atom_reply, row.cookie))
      atoms.*row.member = answer->atom;
  if (const auto answer = reply(x.xcb_intern_atom_reply, asked))
    compositor_ = answer->atom;
}

// ---- visuals ------------------------------------------------------------------------------------

bool X11Display::isPlain(const xcb_visualtype_t& visual, uint8_t depth) const
{
  const uint8_t order = x.xcb_get_setup(connection)->image_byte_order;
  constexpr bool little = std::endian::native == std::endian::little;
  return (depth == 24 || depth == 32) && visual.red_mask == 0xff0000 &&
         visual.green_mask == 0xff00 && visual.blue_mask == 0xff &&
         order == (little ? XCB_IMAGE_ORDER_LSB_FIRST : XCB_IMAGE_ORDER_MSB_FIRST);
}

void X11Display::findVisuals()
{
  auto depths = x.xcb_screen_allowed_depths_iterator(screen_);
  for (; depths.rem > 0; x.xcb_depth_next(&depths)) {
    auto visuals = x.xcb_depth_visuals_iterator(depths.data);
    for (; visuals.rem > 0; x.xcb_visualtype_next(&visuals)) {
      const uint8_t depth = depths.data->depth;
      xcb_visualtype_t& visual = *visuals.data;
      if (visual.visual_id == screen_->root_visual)
        plain_ = {&visual, depth, screen_->default_colormap, isPlain(visual, depth)};
      else if (depth == 32 && alpha_.type == nullptr && isPlain(visual, depth) &&
               visual._class == XCB_VISUAL_CLASS_TRUE_COLOR)
        alpha_ = {&visual, depth, x.xcb_generate_id(connection), true};
    }
  }
  if (alpha_.type != nullptr)
    x.xcb_create_colormap(connection, XCB_COLORMAP_ALLOC_NONE, alpha_.colormap, root(),
                          alpha_.type->visual_id);
}

bool X11Display::isLocal() const
{
  sockaddr_storage peer{};
  socklen_t length = sizeof peer;
  return getpeername(x.xcb_get_file_descriptor(connection), reinterpret_cast<sockaddr*>(&peer),
                     &length) == 0 &&
         peer.ss_family == AF_UNIX;
}

size_t X11Display::largestRequest() const
{
  return size_t(x.xcb_get_maximum_request_length(connection)) * 4;
}

// ---- properties and messages --------------------------------------------------------------------

std::vector<uint32_t> X11Display::numbers(xcb_window_t window, xcb_atom_t property,
                                          xcb_atom_t type) const
{
  const auto answer = reply(x.xcb_get_property_reply,
                            x.xcb_get_property(connection, 0, window, property, type, 0, 4096));
  if (!answer || answer->format != 32)
    return {};
  const auto* values = static_cast<const uint32_t*>(x.xcb_get_property_value(answer.get()));
  return {values, values + x.xcb_get_property_value_length(answer.get()) / 4};
}

std::string X11Display::bytes(xcb_window_t window, xcb_atom_t property) const
{
  const auto answer =
      reply(x.xcb_get_property_reply,
            x.xcb_get_property(connection, 0, window, property, XCB_ATOM_ANY, 0, longestProperty));
  if (!answer || answer->format != 8)
    return {};
  return {static_cast<const char*>(x.xcb_get_property_value(answer.get())),
          static_cast<size_t>(x.xcb_get_property_value_length(answer.get()))};
}

X11Display::Part X11Display::take(xcb_window_t window, xcb_atom_t property, size_t mostBytes) const
{
  const auto answer = reply(x.xcb_get_property_reply,
                            x.xcb_get_property(connection, 1, window, property, XCB_ATOM_ANY, 0,
                                               static_cast<uint32_t>(mostBytes / 4)));
  if (!answer)
    return {};
  Part result{answer->type, {}, answer->bytes_after == 0};
  if (answer->format == 8)
    result.bytes.assign(static_cast<const char*>(x.xcb_get_property_value(answer.get())),
                        static_cast<size_t>(x.xcb_get_property_value_length(answer.get())));
  if (!result.isWhole) // the server removes only what it was asked for whole
    removeProperty(window, property);
  return result;
}

uint32_t X11Display::Watched::all() const
{
  return std::accumulate(wishes.begin(), wishes.end(), own, std::bit_or());
}

bool X11Display::watch(xcb_window_t window, uint32_t events)
{
  if (!watched_.contains(window)) {
    const auto present =
        reply(x.xcb_get_window_attributes_reply, x.xcb_get_window_attributes(connection, window));
    if (!present)
      return false;
    watched_[window].own = present->your_event_mask;
  }
  Watched& watched = watched_[window];
  watched.wishes.push_back(events);
  const uint32_t all = watched.all();
  const X11Reply<xcb_generic_error_t> error{x.xcb_request_check(
      connection,
      x.xcb_change_window_attributes_checked(connection, window, XCB_CW_EVENT_MASK, &all))};
  if (!error && !isLost())
    return true;
  unwatch(window, events);
  return false;
}

void X11Display::unwatch(xcb_window_t window, uint32_t events)
{
  const auto found = watched_.find(window);
  if (found == watched_.end())
    return;
  auto& wishes = found->second.wishes;
  if (const auto wish = std::ranges::find(wishes, events); wish != wishes.end())
    wishes.erase(wish);
  const uint32_t all = found->second.all();
  x.xcb_change_window_attributes(connection, window, XCB_CW_EVENT_MASK, &all);
  if (wishes.empty())
    watched_.erase(found);
}

void X11Display::setNumbers(xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                            std::span<const uint32_t> values) const
{
  x.xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, property, type, 32,
                        static_cast<uint32_t>(values.size()), values.data());
}

void X11Display::setBytes(xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                          std::string_view text) const
{
  x.xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, property, type, 8,
                        static_cast<uint32_t>(text.size()), text.data());
}

static xcb_client_message_event_t message(xcb_window_t about, xcb_atom_t type,
                                          const X11Display::Message& data)
{
  xcb_client_message_event_t event{};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = about;
  event.type = type;
  std::memcpy(event.data.data32, data.data(), sizeof event.data.data32);
  return event;
}

void X11Display::send(xcb_window_t to, xcb_window_t about, xcb_atom_t type,
                      const Message& data) const
{
  const auto event = message(about, type, data);
  x.xcb_send_event(connection, 0, to, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&event));
}

void X11Display::tellManager(xcb_window_t about, xcb_atom_t type, const Message& data) const
{
  const auto event = message(about, type, data);
  x.xcb_send_event(connection, 0, root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&event));
}

void X11Display::broadcast(xcb_window_t from, xcb_atom_t begin, xcb_atom_t more,
                           const std::string& text) const
{
  xcb_client_message_event_t event = message(from, begin, {});
  event.format = 8;
  constexpr size_t piece = sizeof event.data.data8;
  for (size_t at = 0; at <= text.size(); at += piece) { // the zero at its end goes, too
    std::memset(event.data.data8, 0, piece);
    std::memcpy(event.data.data8, text.data() + at, std::min(piece, text.size() - at));
    x.xcb_send_event(connection, 0, root(), XCB_EVENT_MASK_PROPERTY_CHANGE,
                     reinterpret_cast<const char*>(&event));
    event.type = more;
  }
}

// ---- places -------------------------------------------------------------------------------------

std::optional<Point> X11Display::onRoot(xcb_window_t window, Point point) const
{
  const auto answer =
      reply(x.xcb_translate_coordinates_reply,
            x.xcb_translate_coordinates(connection, window, root(), static_cast<int16_t>(point.x),
                                        static_cast<int16_t>(point.y)));
  if (!answer)
    return std::nullopt;
  return Point{answer->dst_x, answer->dst_y};
}

bool X11Display::hasCompositor() const
{
  const auto owner =
      reply(x.xcb_get_selection_owner_reply, x.xcb_get_selection_owner(connection, compositor_));
  return owner && owner->owner != XCB_NONE;
}

bool X11Display::hasManager() const
{
  const auto claimed = numbers(root(), atoms.netSupportingWmCheck, XCB_ATOM_WINDOW);
  if (claimed.empty())
    return false;
  // One that ended may have left its claim behind.
  const auto own = numbers(claimed.front(), atoms.netSupportingWmCheck, XCB_ATOM_WINDOW);
  return !own.empty() && own.front() == claimed.front();
}

} // namespace orbi::platform

#endif
