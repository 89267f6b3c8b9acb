#pragma once

#include "soundfont/editor/part.h"

namespace soundfont {

/// Six octaves of piano keys that play the chosen channel, the louder the lower they are struck.
/// Keys that sound, whoever plays them, are lit.
class Keyboard final : public Part {
public:
  using Part::Part;
  ~Keyboard() override { release(); }

  void draw(Canvas& canvas) override;
  void press(const Pointer& pointer) override { play(pointer.at); }
  void drag(const Pointer& pointer) override { play(pointer.at); }
  void release() override;
  bool look(double seconds) override;

private:
  static constexpr int none = -1;

  void play(Point at);
  int keyAt(Point at) const;
  Rect keyRect(int key) const;
  bool isLit(int key) const { return lit_[key / 64] >> key % 64 & 1; }
  void drawWhite(Canvas& canvas, int key);
  void drawBlack(Canvas& canvas, int key);

  int played_ = none; ///< by the pointer
  int playedChannel_ = 0;
  KeySet lit_{};
};

} // namespace soundfont
