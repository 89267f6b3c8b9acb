#pragma once

#include "soundfont/editor/part.h"

#include <array>

namespace soundfont {

/// The sixteen channels with their presets and how loud they are struck. A click chooses one.
class ChannelList final : public Part {
public:
  ChannelList(Session& session, const Rect& bounds);

  void draw(Canvas& canvas) override;
  void press(const Pointer& pointer) override;
  void drag(const Pointer& pointer) override { press(pointer); }
  void hover(Point at) override;
  void leave() override;
  void wheel(Point at, double notches) override;
  bool look(double seconds) override;

private:
  struct Row {
    Activity::Chosen chosen{};
    uint32_t strikes = 0;
    double level = 0; ///< 0 to 1
    std::string name;
  };

  Rect rowRect(int channel) const;
  Rect meterRect(int channel) const;
  int channelAt(Point at) const; ///< -1 for none
  void drawRow(Canvas& canvas, int channel);
  bool lookAt(int channel, double seconds);

  std::array<Row, channelCount> rows_;
  std::shared_ptr<const Font> font_;
  int shownChannel_ = -1;
  int hovered_ = -1;
};

} // namespace soundfont
