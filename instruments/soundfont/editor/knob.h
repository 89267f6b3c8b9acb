#pragma once

#include "soundfont/editor/part.h"

#include <optional>

namespace soundfont {

/// One parameter as a knob with its name and value. Dragging up and down or the wheel turns it, a
/// double click brings the preset value back.
class Knob final : public Part {
public:
  /// Shows dimly while the switch that it needs is off.
  Knob(Session& session, const Rect& bounds, Parameter parameter, const char* name,
       std::optional<Parameter> neededOn = std::nullopt);

  void draw(Canvas& canvas) override;
  void press(const Pointer& pointer) override;
  void drag(const Pointer& pointer) override;
  void release() override;
  void hover(Point) override;
  void leave() override;
  void wheel(Point at, double notches) override;
  bool look(double seconds) override;

private:
  void turn(double by);
  std::string valueText() const;

  const size_t index_;
  const char* const name_;
  const std::optional<Parameter> neededOn_;
  float shown_ = -1;
  double asked_ = 0; ///< finer than what the parameter takes, so that slow drags add up
  double lastY_ = 0;
  bool works_ = true;
  bool held_ = false;
  bool hovered_ = false;
};

/// A parameter that is on or off.
class Switch final : public Part {
public:
  Switch(Session& session, const Rect& bounds, Parameter parameter);

  void draw(Canvas& canvas) override;
  void press(const Pointer& pointer) override;
  bool look(double seconds) override;

private:
  const Parameter parameter_;
  bool shown_ = false;
};

} // namespace soundfont
