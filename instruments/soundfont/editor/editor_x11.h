#pragma once

#include "soundfont/editor/drop_target_x11.h"
#include "soundfont/editor/editor.h"
#include "soundfont/editor/editor_view.h"
#include "soundfont/editor/xcb_library.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace soundfont {

/// The editor in a window below one of an X11 display's. It has a connection of its own, so that it
/// neither waits for the host nor disturbs it; whatever happens to the host's window or to the
/// display, only this connection ends.
class X11Editor final : public Editor {
public:
  explicit X11Editor(Instrument& instrument) : instrument_(instrument) {}
  ~X11Editor() override { close(); }

  const OrbRect* rect() override;
  void open(void* parent) override;
  void close() override;
  void idle() override;
  bool keyDown(const EditorKey& key) override;
  bool wheel(double notches) override;

private:
  struct Visual {
    xcb_visualid_t id = 0;
    uint8_t depth = 0;
  };

  bool start(xcb_window_t parent);
  void forget();
  bool connect();
  const xcb_screen_t* screenOf(xcb_window_t root) const;
  std::optional<Visual> visualOn(const xcb_screen_t& screen) const;
  double readScale() const;
  bool makeWindow(xcb_window_t parent);
  void disconnect();

  // The editor's thread
  void run();
  void handleEvents();
  void handle(const xcb_generic_event_t& event);
  void buttonPressed(const xcb_button_press_event_t& event);
  void look();
  void draw();
  void send(const Rect& rect);
  void wait();
  Pointer pointerAt(int x, int y, uint16_t state) const;

  void wake();

  static constexpr Point nowhere{-1, -1}; // outside of every part

  Instrument& instrument_;
  const XcbLibrary* xcb_ = nullptr;
  const CairoLibrary* cairo_ = nullptr;
  OrbRect rect_{};
  double scale_ = 1;

  xcb_connection_t* connection_ = nullptr;
  xcb_window_t window_ = 0;
  xcb_gcontext_t context_ = 0;
  uint8_t depth_ = 0;
  int wakeUp_ = -1; // an eventfd
  std::thread thread_;
  std::atomic<bool> stops_{false};
  std::atomic<bool> moves_{false};       // it looks by itself
  std::atomic<uint32_t> seenChanges_{0}; // of the instrument's activity
  std::mutex endMutex_;
  std::condition_variable ended_;
  bool hasEnded_ = false; // with endMutex_

  std::mutex viewMutex_;             // for the host's keys and wheel beside the editor's thread
  std::unique_ptr<EditorView> view_; // with viewMutex_
  Point pointer_ = nowhere;          // likewise

  struct {
    std::unique_ptr<Canvas> canvas;
    std::unique_ptr<DropTarget> drop;
    std::vector<Rect> exposed;
    std::vector<uint8_t> pixels;
    bool windowIsThere = false;
    int64_t lastLook = 0;   // ns
    uint32_t lastPress = 0; // ms of the server
    Point lastPressAt;
    int clicks = 0;
  } own_; // the editor's thread only, while it runs
};

} // namespace soundfont
