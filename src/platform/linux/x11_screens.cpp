#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_window_system.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace orbi::platform {

namespace {

constexpr double dotsAnInch = 96.0; // at a scale of 1
constexpr int64_t usualDoubleClick = 400;

/// The value of a line "name: value" among the user's resources.
std::string_view resource(std::string_view all, std::string_view name)
{
  while (!all.empty()) {
    const size_t end = std::min(all.find('\n'), all.size());
    std::string_view line = all.substr(0, end);
    all.remove_prefix(std::min(end + 1, all.size()));
    if (!line.starts_with(name) || line.size() <= name.size() || line[name.size()] != ':')
      continue;
    line.remove_prefix(name.size() + 1);
    const size_t start = line.find_first_not_of(" \t");
    return start < line.size() ? line.substr(start) : std::string_view();
  }
  return {};
}

/// 0 when there is none in front.
double numberOf(std::string_view text)
{
  double result = 0.0;
  std::from_chars(text.data(), text.data() + text.size(), result);
  return std::isfinite(result) ? result : 0.0;
}

double usableScale(double scale)
{
  return std::clamp(std::round(scale * 4.0) / 4.0, 1.0, 4.0);
}

} // namespace

void X11WindowSystem::readResources()
{
  const std::string all = display_->bytes(display_->root(), XCB_ATOM_RESOURCE_MANAGER);
  const double dots = numberOf(resource(all, "Xft.dpi"));
  scale_ = dots > 0.0 ? usableScale(dots / dotsAnInch) : 1.0;
  if (const char* forced = std::getenv("GDK_SCALE"); forced != nullptr && numberOf(forced) > 0.0)
    scale_ = usableScale(numberOf(forced));
  const double click = numberOf(resource(all, "*multiClickTime"));
  doubleClickMilliseconds_ =
      click >= 50.0 && click <= 5000.0 ? static_cast<int64_t>(click) : usualDoubleClick;
}

void X11WindowSystem::readScreens()
{
  const X11Display& display = *display_;
  screens_.clear();
  if (firstRandrEvent_ != 0) {
    const auto answer =
        display.reply(library_.xcb_randr_get_monitors_reply,
                      library_.xcb_randr_get_monitors(display.connection, display.root(), 1));
    for (auto each = answer ? library_.xcb_randr_get_monitors_monitors_iterator(answer.get())
                            : xcb_randr_monitor_info_iterator_t{};
         each.rem > 0; library_.xcb_randr_monitor_info_next(&each)) {
      const Rect bounds =
          Rect::at({each.data->x, each.data->y}, {each.data->width, each.data->height});
      if (!bounds.isEmpty())
        screens_.push_back({bounds, bounds, each.data->primary != 0});
    }
  }
  if (screens_.empty()) {
    const auto root = display.reply(library_.xcb_get_geometry_reply,
                                    library_.xcb_get_geometry(display.connection, display.root()));
    const Size size =
        root ? Size{root->width, root->height}
             : Size{display.screen()->width_in_pixels, display.screen()->height_in_pixels};
    const Rect all = Rect::at({}, size);
    screens_.push_back({all, all, true});
  }
  std::ranges::stable_sort(screens_, std::greater(), &Screen::isPrimary);
  screens_.front().isPrimary = true;

  // Four numbers for each virtual desktop, of all monitors together.
  const auto areas = display.numbers(display.root(), display.atoms.netWorkArea, XCB_ATOM_CARDINAL);
  const auto desktop =
      display.numbers(display.root(), display.atoms.netCurrentDesktop, XCB_ATOM_CARDINAL);
  const size_t first = desktop.empty() ? 0 : size_t(desktop.front()) * 4;
  if (areas.size() < first + 4)
    return;
  const auto value = [&](size_t i) { return static_cast<int16_t>(areas[first + i]); };
  const Rect area = Rect::at({value(0), value(1)}, {value(2), value(3)});
  for (Screen& screen : screens_)
    if (const Rect part = screen.bounds.intersectedWith(area); !part.isEmpty())
      screen.workArea = part;
}

const Screen& X11WindowSystem::screenAt(Point place) const
{
  const auto found = std::ranges::find_if(
      screens_, [&](const Screen& screen) { return screen.bounds.contains(place); });
  return found != screens_.end() ? *found : screens_.front();
}

/// The root has another property than before.
void X11WindowSystem::desktopChanged(xcb_atom_t property)
{
  const X11Atoms& atoms = display_->atoms;
  if (property == atoms.netSupportingWmCheck)
    hasManager_ = display_->hasManager();
  if (property == XCB_ATOM_RESOURCE_MANAGER || property == atoms.netWorkArea ||
      property == atoms.netCurrentDesktop)
    screensMayHaveChanged_ = true;
}

void X11WindowSystem::tellScreens()
{
  if (!screensMayHaveChanged_)
    return;
  screensMayHaveChanged_ = false;
  const double scale = scale_;
  const std::vector<Screen> screens = screens_;
  readResources();
  readScreens();
  const bool same = std::ranges::equal(screens, screens_, [](const Screen& a, const Screen& b) {
    return a.bounds == b.bounds && a.workArea == b.workArea && a.isPrimary == b.isPrimary;
  });
  if (listener_ != nullptr && (!same || scale != scale_))
    listener_->screensChanged();
}

} // namespace orbi::platform

#endif
