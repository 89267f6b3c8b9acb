#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_window.h"
#include "platform/linux/x11_window_system.h"
#include "platform/utf8_text.h"

#include <algorithm>
#include <cmath>
#include <unistd.h>

namespace orbi::platform {

namespace {

constexpr size_t longestTitle = 1024; // bytes
constexpr int32_t largestIcon = 512;  // pixels
constexpr uint32_t xdndVersion = 5;

// Of the size hints and the general hints that window managers read.
constexpr uint32_t userPosition = 1, programPosition = 4, programSize = 8, minimumSize = 16,
                   maximumSize = 32, windowGravity = 512;
constexpr uint32_t staticGravity = 10; // places are those of the area inside the frame
constexpr uint32_t inputHint = 1, stateHint = 2, groupHint = 64;
constexpr uint32_t normalState = 1, iconicState = 3;

// Motif's
constexpr uint32_t motifFunctions = 1, motifDecorations = 2;
constexpr uint32_t functionResize = 2, functionMove = 4, functionMinimize = 8,
                   functionMaximize = 16, functionClose = 32;
constexpr uint32_t border = 2, handles = 4, titleBar = 8, menuButton = 16, minimizeButton = 32,
                   maximizeButton = 64;

/// Of a premultiplied pixel, as icons are not.
uint32_t straight(uint32_t pixel)
{
  const uint32_t alpha = pixel >> 24;
  if (alpha == 0)
    return 0;
  uint32_t result = alpha << 24;
  for (int shift = 0; shift < 24; shift += 8)
    result |= std::min(((pixel >> shift & 0xff) * 255 + alpha / 2) / alpha, 255u) << shift;
  return result;
}

std::string hostName()
{
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  return name;
}

/// Up to the first zero, which would end it in a property with several.
std::string_view untilZero(std::string_view text)
{
  return text.substr(0, std::min(text.find('\0'), longestTitle));
}

} // namespace

// ---- who it is ----------------------------------------------------------------------------------

void X11Window::writeIdentity()
{
  const X11Atoms& atoms = display().atoms;
  const std::string_view kind =
      options_.className.empty() ? system_->program() : std::string_view(options_.className);
  std::string names;
  for (const std::string_view name : {std::string_view(system_->program()), kind})
    (names += untilZero(name)) += '\0';
  display().setBytes(id_, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, names);
  display().setBytes(id_, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING, hostName());
  display().setNumber(id_, atoms.netWmPid, XCB_ATOM_CARDINAL, static_cast<uint32_t>(getpid()));
  display().setNumber(id_, atoms.wmClientLeader, XCB_ATOM_WINDOW, system_->leader());
  if (isPopup())
    return;
  const uint32_t protocols[] = {atoms.wmDeleteWindow, atoms.wmTakeFocus, atoms.netWmPing};
  display().setNumbers(id_, atoms.wmProtocols, XCB_ATOM_ATOM, protocols);
  display().setNumber(id_, atoms.xdndAware, XCB_ATOM_ATOM, xdndVersion);
  display().tellManager(id_, atoms.netRequestFrameExtents, {});
}

void X11Window::setTitle(std::string_view title)
{
  if (system_ == nullptr)
    return;
  const std::string valid = validUtf8(title.substr(0, longestTitle));
  const X11Atoms& atoms = display().atoms;
  for (const xcb_atom_t property : {xcb_atom_t(XCB_ATOM_WM_NAME), atoms.netWmName,
                                    xcb_atom_t(XCB_ATOM_WM_ICON_NAME), atoms.netWmIconName})
    display().setBytes(id_, property, atoms.utf8String, valid);
}

void X11Window::setIcon(Image& image)
{
  const Size size = image.size();
  if (system_ == nullptr || size.width > largestIcon || size.height > largestIcon ||
      image.pixels().empty())
    return;
  std::vector<uint32_t> values{static_cast<uint32_t>(size.width),
                               static_cast<uint32_t>(size.height)};
  for (const uint32_t pixel : image.pixels())
    values.push_back(straight(pixel));
  if (values.size() * 4 + 64 < display().largestRequest())
    display().setNumbers(id_, display().atoms.netWmIcon, XCB_ATOM_CARDINAL, values);
}

// ---- what it is ---------------------------------------------------------------------------------

void X11Window::writeKind()
{
  const X11Atoms& atoms = display().atoms;
  struct Row {
    WindowKind kind;
    xcb_atom_t type;
  };
  const Row rows[] = {{WindowKind::panel, atoms.netWmWindowTypeUtility},
                      {WindowKind::modal, atoms.netWmWindowTypeDialog},
                      {WindowKind::popup, atoms.netWmWindowTypePopupMenu}};
  const auto row = std::ranges::find(rows, options_.kind, &Row::kind);
  display().setNumber(id_, atoms.netWmWindowType, XCB_ATOM_ATOM,
                      row != std::end(rows) ? row->type : atoms.netWmWindowTypeNormal);
  if (options_.owner != nullptr)
    display().setNumber(id_, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW,
                        static_cast<X11Window*>(options_.owner)->id());
}

void X11Window::writeHints()
{
  const uint32_t state = state_ == WindowState::minimized ? iconicState : normalState;
  const uint32_t values[] = {
      inputHint | stateHint | groupHint, 1, state, 0, 0, 0, 0, 0, system_->leader()};
  display().setNumbers(id_, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, values);
}

void X11Window::writeSizeHints()
{
  const Size present = client_.size();
  const Size smallest = options_.sizable ? smallest_ : present;
  const Size largest = options_.sizable ? largest_ : present;
  uint32_t flags = programSize | windowGravity;
  if (options_.placed)
    flags |= userPosition | programPosition;
  if (smallest.width > 0 || smallest.height > 0)
    flags |= minimumSize;
  if (largest.width > 0 || largest.height > 0)
    flags |= maximumSize;
  const auto length = [](int32_t value, uint32_t none) {
    return value > 0 ? static_cast<uint32_t>(value) : none;
  };
  const uint32_t values[18] = {flags,
                               static_cast<uint32_t>(client_.left),
                               static_cast<uint32_t>(client_.top),
                               static_cast<uint32_t>(present.width),
                               static_cast<uint32_t>(present.height),
                               length(smallest.width, 1),
                               length(smallest.height, 1),
                               length(largest.width, 32767),
                               length(largest.height, 32767),
                               0,
                               0,
                               0,
                               0,
                               0,
                               0,
                               0,
                               0,
                               staticGravity};
  display().setNumbers(id_, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, values);
}

void X11Window::setLimits(Size smallest, Size largest)
{
  smallest_ = smallest;
  largest_ = largest;
  if (system_ != nullptr)
    writeSizeHints();
}

void X11Window::writeMotifHints()
{
  struct Row {
    bool on;
    uint32_t functions, decorations;
  };
  const Row rows[] = {{true, functionMove | functionClose, border},
                      {options_.titled, 0, titleBar},
                      {options_.hasMenu, 0, menuButton},
                      {options_.sizable, functionResize, handles},
                      {options_.minimizable, functionMinimize, minimizeButton},
                      {options_.maximizable, functionMaximize, maximizeButton}};
  uint32_t functions = 0;
  uint32_t decorations = 0;
  for (const Row& row : rows)
    if (row.on) {
      functions |= row.functions;
      decorations |= row.decorations;
    }
  const uint32_t values[] = {motifFunctions | motifDecorations, functions,
                             options_.framed ? decorations : 0u, 0, 0};
  display().setNumbers(id_, display().atoms.motifHints, display().atoms.motifHints, values);
}

void X11Window::setOpacity(double share)
{
  if (system_ == nullptr)
    return;
  const double inside = std::isfinite(share) ? std::clamp(share, 0.0, 1.0) : 1.0;
  if (inside >= 1.0)
    display().removeProperty(id_, display().atoms.netWmWindowOpacity);
  else
    display().setNumber(id_, display().atoms.netWmWindowOpacity, XCB_ATOM_CARDINAL,
                        static_cast<uint32_t>(inside * 0xffffffff));
}

void X11Window::noteUserTime()
{
  if (display().time != XCB_CURRENT_TIME && !isPopup())
    display().setNumber(id_, display().atoms.netWmUserTime, XCB_ATOM_CARDINAL, display().time);
}

// ---- states -------------------------------------------------------------------------------------

std::vector<xcb_atom_t> X11Window::statesOfKind() const
{
  const X11Atoms& atoms = display().atoms;
  switch (options_.kind) {
  case WindowKind::fullScreen:
    return {atoms.netWmStateFullscreen};
  case WindowKind::panel:
    if (options_.owner == nullptr) // which else it would stay above
      return {atoms.netWmStateSkipTaskbar, atoms.netWmStateSkipPager, atoms.netWmStateAbove};
    return {atoms.netWmStateSkipTaskbar, atoms.netWmStateSkipPager};
  case WindowKind::modal:
    return {atoms.netWmStateModal};
  default:
    return {};
  }
}

/// Before the window is shown; afterwards the manager keeps them.
void X11Window::writeStates()
{
  const X11Atoms& atoms = display().atoms;
  std::vector<xcb_atom_t> states = statesOfKind();
  if (state_ == WindowState::maximized)
    states.insert(states.end(), {atoms.netWmStateMaximizedVert, atoms.netWmStateMaximizedHorz});
  display().setNumbers(id_, atoms.netWmState, XCB_ATOM_ATOM, states);
}

void X11Window::changeState(bool on, xcb_atom_t first, xcb_atom_t second)
{
  constexpr uint32_t ofAnApplication = 1;
  display().tellManager(id_, display().atoms.netWmState,
                        {on ? 1u : 0u, first, second, ofAnApplication, 0});
}

void X11Window::readState()
{
  stateIsStale_ = false;
  if (!shown_ || !system_->hasManager())
    return;
  const X11Atoms& atoms = display().atoms;
  const std::vector<uint32_t> states = display().numbers(id_, atoms.netWmState, XCB_ATOM_ATOM);
  const auto has = [&](xcb_atom_t state) { return std::ranges::count(states, state) > 0; };
  const std::vector<uint32_t> iconic = display().numbers(id_, atoms.wmState, atoms.wmState);
  if (has(atoms.netWmStateHidden) || (!iconic.empty() && iconic.front() == iconicState))
    state_ = WindowState::minimized;
  else if (has(atoms.netWmStateMaximizedVert) && has(atoms.netWmStateMaximizedHorz))
    state_ = WindowState::maximized;
  else
    state_ = WindowState::normal;
}

void X11Window::readExtents()
{
  const auto values = display().numbers(id_, display().atoms.netFrameExtents, XCB_ATOM_CARDINAL);
  if (values.size() < 4)
    return;
  const auto width = [&](size_t i) {
    return static_cast<int32_t>(std::min<uint32_t>(values[i], 32767));
  };
  extents_ = {width(0), width(2), width(1), width(3)}; // theirs are left, right, top, bottom
}

} // namespace orbi::platform

#endif
