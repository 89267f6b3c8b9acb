#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_input_method.h"

#include "platform/linux/library_loader.h"
#include "platform/linux/x11_window.h"
#include "platform/linux/x11_window_system.h"

#ifdef ORBI_HAVE_XIM
#include <xcb-imdkit/encoding.h>
#include <xcb-imdkit/imclient.h>
#endif

#include <algorithm>
#include <cstring>

namespace orbi::platform {

#ifdef ORBI_HAVE_XIM

namespace {

// clang-format off
#define ORBI_XIM_FUNCTIONS(use)                                                                    \
  use(xcb_compound_text_init)            use(xcb_compound_text_to_utf8)                            \
  use(xcb_xim_close)                     use(xcb_xim_create)                                       \
  use(xcb_xim_create_ic)                 use(xcb_xim_destroy)                                      \
  use(xcb_xim_destroy_ic)                use(xcb_xim_filter_event)                                 \
  use(xcb_xim_forward_event)             use(xcb_xim_get_encoding)                                 \
  use(xcb_xim_open)                      use(xcb_xim_set_ic_focus)                                 \
  use(xcb_xim_set_im_callback)           use(xcb_xim_set_use_utf8_string)
// clang-format on

struct XimLibrary {
#define ORBI_XIM_MEMBER(name) decltype(&::name) name = nullptr;
  ORBI_XIM_FUNCTIONS(ORBI_XIM_MEMBER)
#undef ORBI_XIM_MEMBER
  SystemLibrary library;

  bool load()
  {
    std::string unused;
    LibraryLoader loader{unused};
#define ORBI_XIM_FIND(name) &&loader.find(name, #name)
    return loader.open(library, "libxcb-imdkit.so.1") ORBI_XIM_FUNCTIONS(ORBI_XIM_FIND);
#undef ORBI_XIM_FIND
  }
};

/// Whether the user's settings name one.
bool isWanted()
{
  const char* modifiers = std::getenv("XMODIFIERS");
  constexpr std::string_view prefix = "@im=";
  const std::string_view text = modifiers != nullptr ? modifiers : "";
  return text.starts_with(prefix) && text.size() > prefix.size() && text.substr(4) != "none" &&
         text.substr(4) != "local";
}

} // namespace

struct X11InputMethod::Private {
  X11WindowSystem& system;
  XimLibrary x;
  xcb_xim_t* im = nullptr;
  bool isOpen = false;
  xcb_xic_t context = 0; // 0 until the method has made one for the window
  xcb_window_t window = 0;
  uint32_t forwarded = XCB_EVENT_MASK_KEY_PRESS; // kinds of events that it wants
  std::vector<xcb_keycode_t> away;               // keys whose presses it has not given back
  std::vector<xcb_key_release_event_t> held;     // releases of those

  explicit Private(X11WindowSystem& owner) : system(owner) {}
  ~Private()
  {
    if (im == nullptr)
      return;
    x.xcb_xim_close(im);
    x.xcb_xim_destroy(im);
  }

  void makeContext();
  void dropContext();
  void comeBack(const xcb_key_press_event_t& event);
  void commit(const char* bytes, uint32_t length);

  static Private& of(void* self) { return *static_cast<Private*>(self); }
  static const xcb_xim_im_callback callbacks;
};

const xcb_xim_im_callback X11InputMethod::Private::callbacks = [] {
  xcb_xim_im_callback result{};
  result.set_event_mask = [](xcb_xim_t*, xcb_xic_t, uint32_t forwarded, uint32_t, void* self) {
    of(self).forwarded = forwarded;
  };
  result.forward_event = [](xcb_xim_t*, xcb_xic_t, xcb_key_press_event_t* event, void* self) {
    of(self).comeBack(*event);
  };
  result.commit_string = [](xcb_xim_t*, xcb_xic_t, uint32_t, char* text, uint32_t length, uint32_t*,
                            size_t, void* self) { of(self).commit(text, length); };
  result.disconnected = [](xcb_xim_t*, void* self) {
    of(self).isOpen = false;
    of(self).dropContext();
  };
  return result;
}();

void X11InputMethod::Private::makeContext()
{
  if (!isOpen || window == 0 || context != 0)
    return;
  const uint32_t style = XCB_IM_PreeditNothing | XCB_IM_StatusNothing;
  x.xcb_xim_create_ic(
      im,
      [](xcb_xim_t* method, xcb_xic_t made, void* self) {
        Private& own = of(self);
        if (own.context != 0 || own.window == 0) { // the focus has gone on in the meantime
          own.x.xcb_xim_destroy_ic(method, made, nullptr, nullptr);
          return;
        }
        own.context = made;
        if (made != 0)
          own.x.xcb_xim_set_ic_focus(method, made);
      },
      this, XCB_XIM_XNInputStyle, &style, XCB_XIM_XNClientWindow, &window, XCB_XIM_XNFocusWindow,
      &window, nullptr);
}

void X11InputMethod::Private::dropContext()
{
  if (context != 0 && isOpen)
    x.xcb_xim_destroy_ic(im, context, nullptr, nullptr);
  context = 0;
  forwarded = XCB_EVENT_MASK_KEY_PRESS;
  away.clear();
  held.clear();
}

/// A stroke for which it has no use, and its release if that has come meanwhile.
void X11InputMethod::Private::comeBack(const xcb_key_press_event_t& event)
{
  const xcb_key_press_event_t stroke = event;
  std::erase(away, stroke.detail);
  std::vector<xcb_key_release_event_t> releases;
  for (const auto& each : held)
    if (each.detail == stroke.detail)
      releases.push_back(each);
  std::erase_if(held, [&](const auto& each) { return each.detail == stroke.detail; });
  system.handleKey(stroke);
  for (const auto& each : releases)
    system.handleKey(each);
}

void X11InputMethod::Private::commit(const char* bytes, uint32_t length)
{
  std::string text(bytes, length);
  if (x.xcb_xim_get_encoding(im) == XCB_XIM_COMPOUND_TEXT) {
    size_t size = 0;
    char* converted = x.xcb_compound_text_to_utf8(bytes, length, &size);
    text = converted != nullptr ? std::string(converted, size) : std::string();
    std::free(converted);
  }
  system.handleText(window, text);
}

std::unique_ptr<X11InputMethod> X11InputMethod::open(X11WindowSystem& system)
{
  auto own = std::make_unique<Private>(system);
  if (!isWanted() || !own->x.load())
    return nullptr;
  own->x.xcb_compound_text_init();
  const X11Display& display = system.display();
  own->im = own->x.xcb_xim_create(display.connection, display.screenNumber(), nullptr);
  if (own->im == nullptr)
    return nullptr;
  own->x.xcb_xim_set_use_utf8_string(own->im, true);
  own->x.xcb_xim_set_im_callback(own->im, &Private::callbacks, own.get());
  // It may also start, and start anew, later than we do.
  own->x.xcb_xim_open(
      own->im,
      [](xcb_xim_t*, void* self) {
        Private::of(self).isOpen = true;
        Private::of(self).makeContext();
      },
      true, own.get());
  return std::unique_ptr<X11InputMethod>(new X11InputMethod(std::move(own)));
}

bool X11InputMethod::filter(xcb_generic_event_t& event)
{
  return own_->x.xcb_xim_filter_event(own_->im, &event);
}

bool X11InputMethod::take(const xcb_key_press_event_t& event)
{
  const bool isPress = (event.response_type & 0x7f) == XCB_KEY_PRESS;
  if (own_->context == 0)
    return false;
  if (!isPress) {
    const bool isAway = std::ranges::count(own_->away, event.detail) > 0;
    if (isAway)
      own_->held.push_back(event);
    return isAway;
  }
  if ((own_->forwarded & XCB_EVENT_MASK_KEY_PRESS) == 0)
    return false;
  // A former stroke of the key that didn't come back has become part of a text.
  std::erase(own_->away, event.detail);
  std::erase_if(own_->held, [&](const auto& each) { return each.detail == event.detail; });
  own_->away.push_back(event.detail);
  xcb_key_press_event_t copy = event;
  if (own_->x.xcb_xim_forward_event(own_->im, own_->context, &copy))
    return true;
  std::erase(own_->away, event.detail);
  return false;
}

void X11InputMethod::focus(const X11Window& window)
{
  if (own_->window == window.id())
    return;
  own_->dropContext();
  own_->window = window.id();
  own_->makeContext();
}

void X11InputMethod::unfocus()
{
  own_->dropContext();
  own_->window = 0;
}

#else

struct X11InputMethod::Private {};

std::unique_ptr<X11InputMethod> X11InputMethod::open(X11WindowSystem&)
{
  return nullptr;
}

bool X11InputMethod::filter(xcb_generic_event_t&)
{
  return false;
}

bool X11InputMethod::take(const xcb_key_press_event_t&)
{
  return false;
}

void X11InputMethod::focus(const X11Window&) {}

void X11InputMethod::unfocus() {}

#endif

X11InputMethod::X11InputMethod(std::unique_ptr<Private> own) : own_(std::move(own)) {}

X11InputMethod::~X11InputMethod() = default;

} // namespace orbi::platform

#endif
