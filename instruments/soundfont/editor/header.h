#pragma once

#include "soundfont/editor/part.h"

namespace soundfont {

/// The SoundFont's name and what there is to say about files.
class Header final : public Part {
public:
  using Part::Part;

  void draw(Canvas& canvas) override;
  bool look(double seconds) override;

  enum class Tone { plain, warning };
  void say(std::string text, Tone tone, double seconds = 6); ///< for so long
  void sayNothing();
  void setInvites(bool invites); ///< a file hangs above the window

private:
  std::shared_ptr<const Font> font_;
  std::string message_;
  Tone tone_ = Tone::plain;
  double messageLeft_ = 0; ///< seconds
  bool invites_ = false;
};

/// What the chosen channel plays, and how many voices sound on all of them.
class NowPlaying final : public Part {
public:
  using Part::Part;

  void draw(Canvas& canvas) override;
  bool look(double seconds) override;

private:
  std::shared_ptr<const Font> font_;
  int channel_ = -1;
  Activity::Chosen chosen_{};
  int voices_ = 0;
};

} // namespace soundfont
