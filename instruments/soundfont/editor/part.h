#pragma once

#include "soundfont/editor/canvas.h"
#include "soundfont/editor/style.h"
#include "soundfont/instrument.h"

#include <memory>
#include <string>
#include <utility>

namespace soundfont {

/// What the parts of one editor share.
struct Session {
  Instrument& instrument;
  std::shared_ptr<const Font> font; ///< never null
  int channel = 0;                  ///< the chosen one

  const Preset* chosenPreset(int of) const; ///< null when the font hasn't what the channel asks for
  std::string presetName(int of) const;
};

struct Pointer {
  Point at;
  int clicks = 1;    ///< 2 for the second press of a double click
  bool fine = false; ///< small steps are asked for
};

/// A rectangle of the editor that shows something of the instrument and may change it. It looks at
/// the instrument itself whenever it is asked to look, so nobody has to tell it of changes.
class Part {
public:
  Part(Session& session, const Rect& bounds) : session_(session), bounds_(bounds), stale_(bounds) {}
  virtual ~Part() = default;
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;

  const Rect& bounds() const { return bounds_; }
  virtual void draw(Canvas& canvas) = 0; ///< all of it; the canvas clips to what is stale

  // The pointer: presses within the bounds; what follows until the release goes here as well.
  virtual void press(const Pointer&) {}
  virtual void drag(const Pointer&) {}
  virtual void release() {}
  virtual void hover(Point) {}
  virtual void leave() {}
  virtual void wheel(Point, double /*notches*/) {}

  /// Compares what it shows with what is, some time later. True while it moves by itself.
  virtual bool look(double /*seconds*/) { return false; }
  Rect takeStale() { return std::exchange(stale_, {}); } ///< what must be drawn anew

protected:
  void redraw() { redraw(bounds_); }
  void redraw(const Rect& rect) { stale_ = stale_.with(rect); }

  Session& session_;
  const Rect bounds_;

private:
  Rect stale_;
};

/// A panel's ground with its title.
void drawPanel(Canvas& canvas, const Rect& rect, std::string_view title);

} // namespace soundfont
