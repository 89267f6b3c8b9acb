#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_keyboard.h"

#include <algorithm>
#include <xkbcommon/xkbcommon-keysyms.h>

namespace orbi::platform {

namespace {

struct StateBit {
  uint16_t state;
  uint32_t ours;
};
constexpr StateBit modifierBits[] = {{XCB_MOD_MASK_SHIFT, shiftKey},
                                     {XCB_MOD_MASK_1, altKey},
                                     {XCB_MOD_MASK_CONTROL, controlKey},
                                     {XCB_MOD_MASK_4, superKey}};
constexpr StateBit buttonBits[] = {{XCB_BUTTON_MASK_1, leftButton},
                                   {XCB_BUTTON_MASK_2, middleButton},
                                   {XCB_BUTTON_MASK_3, rightButton}};

uint32_t bitsOf(uint16_t state, std::span<const StateBit> table)
{
  uint32_t result = 0;
  for (const StateBit& each : table)
    if (state & each.state)
      result |= each.ours;
  return result;
}

struct KeyName {
  xkb_keysym_t first, last;
  Key key;
  uint32_t step = 0; ///< from one sign to the next; 0 when all stand for the same key
};
constexpr KeyName keyNames[] = {
    {XKB_KEY_BackSpace, XKB_KEY_BackSpace, Key::backspace},
    {XKB_KEY_Tab, XKB_KEY_Tab, Key::tab},
    {XKB_KEY_ISO_Left_Tab, XKB_KEY_ISO_Left_Tab, Key::tab},
    {XKB_KEY_Return, XKB_KEY_Return, Key::enter},
    {XKB_KEY_Pause, XKB_KEY_Pause, Key::pause},
    {XKB_KEY_Escape, XKB_KEY_Escape, Key::escape},
    {XKB_KEY_space, XKB_KEY_space, Key::space},
    {XKB_KEY_End, XKB_KEY_End, Key::end},
    {XKB_KEY_Home, XKB_KEY_Home, Key::home},
    {XKB_KEY_Left, XKB_KEY_Left, Key::left},
    {XKB_KEY_Up, XKB_KEY_Up, Key::up},
    {XKB_KEY_Right, XKB_KEY_Right, Key::right},
    {XKB_KEY_Down, XKB_KEY_Down, Key::down},
    {XKB_KEY_Prior, XKB_KEY_Prior, Key::pageUp},
    {XKB_KEY_Next, XKB_KEY_Next, Key::pageDown},
    {XKB_KEY_Print, XKB_KEY_Print, Key::print},
    {XKB_KEY_Insert, XKB_KEY_Insert, Key::insert},
    {XKB_KEY_Delete, XKB_KEY_Delete, Key::remove},
    {XKB_KEY_Help, XKB_KEY_Help, Key::help},
    {XKB_KEY_Menu, XKB_KEY_Menu, Key::menu},
    {XKB_KEY_F1, XKB_KEY_F24, Key::f1, 1},
    {XKB_KEY_Num_Lock, XKB_KEY_Num_Lock, Key::numLock},
    {XKB_KEY_Scroll_Lock, XKB_KEY_Scroll_Lock, Key::scrollLock},
    {XKB_KEY_Caps_Lock, XKB_KEY_Caps_Lock, Key::capsLock},
    {XKB_KEY_Shift_L, XKB_KEY_Shift_R, Key::shift},
    {XKB_KEY_Control_L, XKB_KEY_Control_R, Key::control},
    {XKB_KEY_Alt_L, XKB_KEY_Alt_R, Key::alt},
    {XKB_KEY_Meta_L, XKB_KEY_Meta_R, Key::alt},
    {XKB_KEY_Super_L, XKB_KEY_Super_R, Key::super},
};
// What the keypad's keys mean depends on the number lock.
constexpr KeyName padNames[] = {
    {XKB_KEY_KP_Enter, XKB_KEY_KP_Enter, Key::padEnter},
    {XKB_KEY_KP_Home, XKB_KEY_KP_Home, Key::home},
    {XKB_KEY_KP_Left, XKB_KEY_KP_Left, Key::left},
    {XKB_KEY_KP_Up, XKB_KEY_KP_Up, Key::up},
    {XKB_KEY_KP_Right, XKB_KEY_KP_Right, Key::right},
    {XKB_KEY_KP_Down, XKB_KEY_KP_Down, Key::down},
    {XKB_KEY_KP_Prior, XKB_KEY_KP_Prior, Key::pageUp},
    {XKB_KEY_KP_Next, XKB_KEY_KP_Next, Key::pageDown},
    {XKB_KEY_KP_End, XKB_KEY_KP_End, Key::end},
    {XKB_KEY_KP_Insert, XKB_KEY_KP_Insert, Key::insert},
    {XKB_KEY_KP_Delete, XKB_KEY_KP_Delete, Key::remove},
    {XKB_KEY_KP_0, XKB_KEY_KP_9, Key::pad0, 1},
    {XKB_KEY_KP_Multiply, XKB_KEY_KP_Multiply, Key::padMultiply},
    {XKB_KEY_KP_Add, XKB_KEY_KP_Add, Key::padAdd},
    {XKB_KEY_KP_Separator, XKB_KEY_KP_Separator, Key::padSeparator},
    {XKB_KEY_KP_Subtract, XKB_KEY_KP_Subtract, Key::padSubtract},
    {XKB_KEY_KP_Decimal, XKB_KEY_KP_Decimal, Key::padDecimal},
    {XKB_KEY_KP_Divide, XKB_KEY_KP_Divide, Key::padDivide},
    {XKB_KEY_KP_Equal, XKB_KEY_KP_Equal, Key::padEquals},
};

Key named(xkb_keysym_t sign, std::span<const KeyName> table)
{
  for (const KeyName& each : table)
    if (sign >= each.first && sign <= each.last)
      return static_cast<Key>(static_cast<uint32_t>(each.key) + (sign - each.first) * each.step);
  return Key::none;
}

bool isLatinLetter(xkb_keysym_t sign)
{
  return (sign >= XKB_KEY_a && sign <= XKB_KEY_z) || (sign >= XKB_KEY_A && sign <= XKB_KEY_Z);
}

const char* localeName()
{
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"})
    if (const char* value = std::getenv(variable); value != nullptr && *value != '\0')
      return value;
  return "C";
}

/// A text that a stroke types, which control characters aren't.
std::string withoutControls(std::string text)
{
  std::erase_if(text, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
  return text;
}

} // namespace

uint32_t modifiersOfState(uint16_t state)
{
  return bitsOf(state, modifierBits);
}

uint32_t buttonsOfState(uint16_t state)
{
  return bitsOf(state, buttonBits);
}

// ---- the layout ---------------------------------------------------------------------------------

std::unique_ptr<X11Keyboard> X11Keyboard::open(const X11Display& display, std::string& error)
{
  std::unique_ptr<X11Keyboard> result(new X11Keyboard(display));
  if (result->context_ == nullptr || result->device_ < 0 || !result->load()) {
    error = "The display's keyboard can't be read.";
    return nullptr;
  }
  result->openCompose();
  return result;
}

X11Keyboard::X11Keyboard(const X11Display& display) : display_(display), x_(display.x)
{
  context_ = x_.xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  if (!x_.xkb_x11_setup_xkb_extension(
          display.connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
          XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &firstEvent_, nullptr))
    return;
  device_ = x_.xkb_x11_get_core_keyboard_device_id(display.connection);
  constexpr uint16_t events =
      XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
  constexpr uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                                XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_VIRTUAL_MODS |
                                XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
  x_.xcb_xkb_select_events(display.connection, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, mapParts,
                           mapParts, nullptr);
  // A key that is held repeats its press without a release before it.
  constexpr uint32_t held = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
  display.reply(x_.xcb_xkb_per_client_flags_reply,
                x_.xcb_xkb_per_client_flags(display.connection, XCB_XKB_ID_USE_CORE_KBD, held, held,
                                            0, 0, 0));
}

X11Keyboard::~X11Keyboard()
{
  drop();
  x_.xkb_compose_state_unref(composeState_);
  x_.xkb_compose_table_unref(composeTable_);
  x_.xkb_context_unref(context_);
}

void X11Keyboard::drop()
{
  x_.xkb_state_unref(state_);
  x_.xkb_keymap_unref(keymap_);
  state_ = nullptr;
  keymap_ = nullptr;
}

/// What was there stays when the server has nothing to give.
bool X11Keyboard::load()
{
  xkb_keymap* keymap = x_.xkb_x11_keymap_new_from_device(context_, display_.connection, device_,
                                                         XKB_KEYMAP_COMPILE_NO_FLAGS);
  xkb_state* state =
      keymap ? x_.xkb_x11_state_new_from_device(keymap, display_.connection, device_) : nullptr;
  if (state == nullptr) {
    x_.xkb_keymap_unref(keymap);
    return false;
  }
  drop();
  keymap_ = keymap;
  state_ = state;
  return true;
}

bool X11Keyboard::handle(const xcb_generic_event_t& event)
{
  if (firstEvent_ == 0 || (event.response_type & 0x7f) != firstEvent_)
    return false;
  isStale_ = true; // both kinds that were asked for may bring a new layout
  return true;
}

// ---- composing ----------------------------------------------------------------------------------

void X11Keyboard::openCompose()
{
  for (const char* locale : {localeName(), "en_US.UTF-8"}) {
    composeTable_ =
        x_.xkb_compose_table_new_from_locale(context_, locale, XKB_COMPOSE_COMPILE_NO_FLAGS);
    if (composeTable_ != nullptr)
      break;
  }
  if (composeTable_ != nullptr)
    composeState_ = x_.xkb_compose_state_new(composeTable_, XKB_COMPOSE_STATE_NO_FLAGS);
}

void X11Keyboard::forgetComposing()
{
  if (composeState_ != nullptr)
    x_.xkb_compose_state_reset(composeState_);
}

X11Keyboard::Composed X11Keyboard::compose(const xcb_key_press_event_t& event, std::string& text)
{
  if (composeState_ == nullptr)
    return Composed::no;
  const xkb_keysym_t sign = x_.xkb_state_key_get_one_sym(state_, event.detail);
  if (x_.xkb_compose_state_feed(composeState_, sign) == XKB_COMPOSE_FEED_IGNORED)
    return Composed::no; // a key like Shift
  const xkb_compose_status status = x_.xkb_compose_state_get_status(composeState_);
  if (status == XKB_COMPOSE_NOTHING)
    return Composed::no;
  if (status == XKB_COMPOSE_COMPOSING)
    return Composed::partly;
  if (status == XKB_COMPOSE_COMPOSED) {
    char buffer[64];
    x_.xkb_compose_state_get_utf8(composeState_, buffer, sizeof buffer);
    text = withoutControls(buffer);
  }
  x_.xkb_compose_state_reset(composeState_);
  return status == XKB_COMPOSE_COMPOSED ? Composed::done : Composed::partly;
}

// ---- strokes ------------------------------------------------------------------------------------

/// Each stroke says itself which modifiers and which layout hold for it.
void X11Keyboard::follow(uint16_t state)
{
  if (isStale_)
    load();
  isStale_ = false;
  x_.xkb_state_update_mask(state_, state & 0xff, 0, 0, 0, 0, (state >> 13) & 3);
}

std::optional<KeyEvent> X11Keyboard::press(const xcb_key_press_event_t& event)
{
  follow(event.state);
  KeyEvent result;
  result.modifiers = modifiersOfState(event.state);
  result.milliseconds = event.time;
  const bool isCommand = (result.modifiers & (controlKey | altKey | superKey)) != 0;
  const Composed composed = isCommand ? Composed::no : compose(event, result.text);
  if (composed == Composed::partly)
    return std::nullopt;
  result.repeats = down_[event.detail].has_value();
  if (composed == Composed::no) {
    result.key = keyOf(event.detail);
    result.text = isCommand ? std::string() : textOf(event);
  }
  down_[event.detail] = result.key;
  return result;
}

std::optional<KeyEvent> X11Keyboard::release(const xcb_key_release_event_t& event)
{
  if (!down_[event.detail])
    return std::nullopt;
  KeyEvent result;
  // The key that went down, also when another layout came in between.
  result.key = *down_[event.detail];
  result.modifiers = modifiersOfState(event.state);
  result.milliseconds = event.time;
  result.down = false;
  down_[event.detail].reset();
  return result;
}

std::optional<KeyEvent> X11Keyboard::releaseAny()
{
  const auto held = std::ranges::find_if(down_, [](const auto& key) { return key.has_value(); });
  if (held == down_.end())
    return std::nullopt;
  KeyEvent result;
  result.key = **held;
  result.down = false;
  result.isTaken = true;
  result.milliseconds = display_.time;
  held->reset();
  return result;
}

std::string X11Keyboard::textOf(const xcb_key_press_event_t& event) const
{
  char buffer[64];
  x_.xkb_state_key_get_utf8(state_, event.detail, buffer, sizeof buffer);
  return withoutControls(buffer);
}

/// Of the stroke without modifiers in the present layout; where that has no Latin letters, those of
/// the first layout that has some.
xkb_keysym_t X11Keyboard::plainSign(xcb_keycode_t code) const
{
  const xkb_keysym_t* signs = nullptr;
  const auto at = [&](xkb_layout_index_t layout) {
    const int count = x_.xkb_keymap_key_get_syms_by_level(keymap_, code, layout, 0, &signs);
    return count > 0 ? signs[0] : xkb_keysym_t(XKB_KEY_NoSymbol);
  };
  const xkb_keysym_t present = at(x_.xkb_state_key_get_layout(state_, code));
  constexpr xkb_keysym_t lastLatin1 = 0xff;
  const bool isForeign = present > lastLatin1 && x_.xkb_keysym_to_utf32(present) > lastLatin1;
  if (!isForeign)
    return present;
  const xkb_layout_index_t layouts = x_.xkb_keymap_num_layouts_for_key(keymap_, code);
  for (xkb_layout_index_t layout = 0; layout < layouts; ++layout)
    if (isLatinLetter(at(layout)))
      return signs[0];
  return present;
}

Key X11Keyboard::keyOf(xcb_keycode_t code) const
{
  if (const Key pad = named(x_.xkb_state_key_get_one_sym(state_, code), padNames); pad != Key::none)
    return pad;
  const xkb_keysym_t sign = plainSign(code);
  if (const Key key = named(sign, keyNames); key != Key::none)
    return key;
  const uint32_t character = x_.xkb_keysym_to_utf32(x_.xkb_keysym_to_upper(sign));
  const bool isSign = character > 0x20 && character != 0x7f && character < 0x10000;
  return isSign ? static_cast<Key>(character) : Key::none;
}

} // namespace orbi::platform

#endif
