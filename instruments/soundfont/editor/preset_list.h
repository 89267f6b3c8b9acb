#pragma once

#include "soundfont/editor/part.h"

#include <chrono>
#include <vector>

namespace soundfont {

/// The presets that suit the chosen channel, in groups. What is chosen becomes its program.
class PresetList final : public Part {
public:
  using Part::Part;

  void draw(Canvas& canvas) override;
  void press(const Pointer& pointer) override;
  void drag(const Pointer& pointer) override;
  void release() override;
  void hover(Point at) override;
  void leave() override;
  void wheel(Point at, double notches) override;
  bool look(double seconds) override;

  void step(int by);      ///< to another preset, as far as there are any
  void type(char letter); ///< letters in quick succession search for a name
  bool isTyping() const;  ///< whether the next one goes on with the same name
  int rowsInSight() const;

private:
  struct Row {
    const Preset* preset; ///< null for a heading
    std::string text;
  };

  void makeRows();
  void choose(int row);
  void scrollTo(double offset);
  void showRow(int row);
  double longestScroll() const;
  Rect rowRect(int row) const;
  Rect thumbRect() const;
  int presetAt(Point at) const; ///< its row, -1 for none
  int rowOf(const Preset* preset) const;
  void drawRow(Canvas& canvas, int row);

  std::shared_ptr<const Font> font_;
  std::vector<Row> rows_;
  bool forDrums_ = false;
  int shownChannel_ = -1;
  int chosenRow_ = -1;
  int hovered_ = -1;
  double scroll_ = 0;
  double grip_ = -1; ///< where the thumb is held, or less than 0
  std::string typed_;
  std::chrono::steady_clock::time_point lastLetter_{};
};

} // namespace soundfont
