// How long a program takes from exec to its painted window, and what it takes while nothing
// happens. window_probe RUNS SECONDS PROGRAM [ARGUMENT...], on the display of DISPLAY without a
// window manager.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begin)
{
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

pid_t start(char** command)
{
  const pid_t child = fork();
  if (child != 0)
    return child;
  execv(command[0], command);
  _exit(127);
}

/// The largest window that is mapped from now on, with the place that it is told to have.
xcb_map_notify_event_t* waitForMap(xcb_connection_t* display)
{
  while (xcb_generic_event_t* event = xcb_wait_for_event(display)) {
    if ((event->response_type & 0x7F) == XCB_MAP_NOTIFY)
      return reinterpret_cast<xcb_map_notify_event_t*>(event);
    std::free(event);
  }
  return nullptr;
}

uint32_t pixel(xcb_connection_t* display, xcb_window_t root, int16_t x, int16_t y)
{
  auto* reply = xcb_get_image_reply(
      display, xcb_get_image(display, XCB_IMAGE_FORMAT_Z_PIXMAP, root, x, y, 1, 1, ~0U), nullptr);
  uint32_t value = 0;
  if (reply && xcb_get_image_data_length(reply) >= 4)
    value = *reinterpret_cast<const uint32_t*>(xcb_get_image_data(reply)) & 0xFFFFFF;
  std::free(reply);
  return value;
}

/// Menu bar and editor, at places where neither is black.
bool isPainted(xcb_connection_t* display, xcb_window_t root, xcb_window_t window)
{
  auto* place = xcb_translate_coordinates_reply(
      display, xcb_translate_coordinates(display, window, root, 0, 0), nullptr);
  if (!place)
    return false;
  const auto x = static_cast<int16_t>(place->dst_x + 4);
  const auto y = static_cast<int16_t>(place->dst_y + 4);
  std::free(place);
  return pixel(display, root, x, y) != 0 &&
         pixel(display, root, x, static_cast<int16_t>(y + 60)) != 0;
}

double processorMilliseconds(pid_t process)
{
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string word;
  double ticks = 0.0;
  for (int field = 1; file >> word && field <= 15; ++field)
    if (field >= 14)
      ticks += std::stod(word);
  return ticks * 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::string statusLine(pid_t process, const char* name)
{
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  std::string line;
  while (std::getline(file, line))
    if (line.rfind(name, 0) == 0)
      return line;
  return "";
}

} // namespace

int main(int count, char** values)
{
  if (count < 4) {
    std::fprintf(stderr, "usage: window_probe RUNS SECONDS PROGRAM [ARGUMENT...]\n");
    return 2;
  }
  xcb_connection_t* display = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(display)) {
    std::fprintf(stderr, "window_probe: there is no display\n");
    return 1;
  }
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(display)).data->root;
  const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
  xcb_change_window_attributes(display, root, XCB_CW_EVENT_MASK, &mask);
  xcb_flush(display);

  const int runs = std::atoi(values[1]);
  const double seconds = std::atof(values[2]);
  std::vector<double> starts;
  for (int run = 0; run < runs; ++run) {
    const auto begin = Clock::now();
    const pid_t child = start(values + 3);
    xcb_map_notify_event_t* mapped = waitForMap(display);
    if (!mapped)
      return 1;
    while (!isPainted(display, root, mapped->window) && millisecondsSince(begin) < 5000)
      std::this_thread::sleep_for(std::chrono::microseconds(300));
    starts.push_back(millisecondsSince(begin));
    std::free(mapped);
    if (run + 1 == runs) {
      std::this_thread::sleep_for(std::chrono::seconds(2));
      const double before = processorMilliseconds(child);
      std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
      const double taken = processorMilliseconds(child) - before;
      std::printf("at rest: %.2f %% of a core\n%s\n%s\n%s\n", taken / seconds / 10.0,
                  statusLine(child, "VmRSS").c_str(), statusLine(child, "RssAnon").c_str(),
                  statusLine(child, "RssFile").c_str());
    }
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
  }
  std::sort(starts.begin(), starts.end());
  std::printf("exec to painted window: median %.1f ms, best %.1f, worst %.1f\n",
              starts[starts.size() / 2], starts.front(), starts.back());
  xcb_disconnect(display);
}
