#include "soundfont/editor/knob.h"

#include <cmath>
#include <cstdio>
#include <numbers>

namespace soundfont {

namespace {

constexpr double dragLength = 160; // units from end to end
constexpr double fineShare = 0.15;
constexpr double wheelStep = 0.04; // of the range, a notch
constexpr double textHeight = 16;
constexpr double startAngle = 0.75 * std::numbers::pi; // clockwise from the right; lower left
constexpr double fullTurn = 1.5 * std::numbers::pi;

enum class Unit { decibels, percent, whole, decimal, hertz, milliseconds };

constexpr Unit unitOf(Parameter parameter)
{
  switch (parameter) {
  case Parameter::gain:
    return Unit::decibels;
  case Parameter::chorusVoices:
    return Unit::whole;
  case Parameter::chorusLevel:
    return Unit::decimal;
  case Parameter::chorusSpeed:
    return Unit::hertz;
  case Parameter::chorusDepth:
    return Unit::milliseconds;
  default:
    return Unit::percent;
  }
}

std::string textOf(Unit unit, double value)
{
  if (unit == Unit::decibels && value < 0.001)
    return "silent";
  struct {
    const char* format;
    double value;
  } const by[] = {{"%+.1f dB", 20 * std::log10(std::max(value, 1e-6))},
                  {"%.0f %%", value * 100},
                  {"%.0f", std::round(value)},
                  {"%.1f", value},
                  {"%.2f Hz", value},
                  {"%.1f ms", value}};
  const auto& chosen = by[static_cast<size_t>(unit)];
  char text[32];
  std::snprintf(text, sizeof text, chosen.format, chosen.value);
  return text;
}

bool isOn(const Session& session, Parameter parameter)
{
  return session.instrument.parameter(static_cast<size_t>(parameter)) >= 0.5f;
}

} // namespace

Knob::Knob(Session& session, const Rect& bounds, Parameter parameter, const char* name,
           std::optional<Parameter> neededOn)
    : Part(session, bounds), index_(static_cast<size_t>(parameter)), name_(name),
      neededOn_(neededOn)
{
}

std::string Knob::valueText() const
{
  return textOf(unitOf(static_cast<Parameter>(index_)), inSynthUnit(index_, shown_));
}

void Knob::draw(Canvas& canvas)
{
  const Rect dial{bounds_.x, bounds_.y, bounds_.width, bounds_.height - 2 * textHeight - 2};
  const Point center = dial.center();
  const double radius = std::min(dial.width, dial.height) / 2 - 2;
  const double share = std::clamp<double>(shown_, 0, 1);
  const double angle = startAngle + fullTurn * share;
  const bool lively = held_ || hovered_;
  canvas.arc(center, radius, startAngle, startAngle + fullTurn, 3, style::well);
  if (share > 0)
    canvas.arc(center, radius, startAngle, angle, 3,
               style::accent.at(!works_  ? 0.25
                                : lively ? 1.0
                                         : 0.85));
  const Color top = lively ? Color{0x454B57} : Color{0x3A3F4A};
  canvas.fillCircle(center, radius - 5, mix(top, {0xFFFFFF}, 0.12), style::panelEdge);
  canvas.fillCircle(center, radius - 6, top, Color{0x2B2F38});
  const auto on = [&](double distance) {
    return Point{center.x + std::cos(angle) * distance, center.y + std::sin(angle) * distance};
  };
  canvas.line(on(radius - 13), on(radius - 8), 2, works_ ? style::text : style::faintText);
  const Rect label{bounds_.x, dial.bottom() + 2, bounds_.width, textHeight};
  canvas.text(label, name_, {style::smallSize, style::quietText, false, Justify::center});
  canvas.text({label.x, label.bottom() - 2, label.width, textHeight}, valueText(),
              {style::smallSize,
               !works_  ? style::faintText
               : lively ? style::accent
                        : style::text,
               false, Justify::center});
}

void Knob::turn(double by)
{
  asked_ = std::clamp(asked_ + by, 0.0, 1.0);
  session_.instrument.setParameter(index_, static_cast<float>(asked_));
}

void Knob::press(const Pointer& pointer)
{
  held_ = true;
  lastY_ = pointer.at.y;
  asked_ = session_.instrument.parameter(index_);
  if (pointer.clicks == 2) {
    asked_ = presetParameters()[index_];
    turn(0);
  }
  redraw();
}

void Knob::drag(const Pointer& pointer)
{
  turn((lastY_ - pointer.at.y) / dragLength * (pointer.fine ? fineShare : 1));
  lastY_ = pointer.at.y;
}

void Knob::release()
{
  held_ = false;
  redraw();
}

void Knob::hover(Point)
{
  if (!hovered_)
    redraw();
  hovered_ = true;
}

void Knob::leave()
{
  hovered_ = false;
  redraw();
}

void Knob::wheel(Point, double notches)
{
  asked_ = session_.instrument.parameter(index_);
  turn(notches *
       (static_cast<Parameter>(index_) == Parameter::chorusVoices ? 1.0 / 16 : wheelStep));
}

bool Knob::look(double)
{
  const float value = session_.instrument.parameter(index_);
  const bool works = !neededOn_ || isOn(session_, *neededOn_);
  if (value != shown_ || works != works_)
    redraw();
  shown_ = value;
  works_ = works;
  return false;
}

Switch::Switch(Session& session, const Rect& bounds, Parameter parameter)
    : Part(session, bounds), parameter_(parameter)
{
}

void Switch::draw(Canvas& canvas)
{
  const double radius = bounds_.height / 2;
  canvas.fillRounded(bounds_, radius, shown_ ? style::accent : style::panelEdge);
  const double x = shown_ ? bounds_.right() - radius : bounds_.x + radius;
  canvas.fillCircle({x, bounds_.center().y}, radius - 2.5,
                    shown_ ? style::background : style::quietText);
}

void Switch::press(const Pointer&)
{
  session_.instrument.setParameter(static_cast<size_t>(parameter_),
                                   isOn(session_, parameter_) ? 0.0f : 1.0f);
}

bool Switch::look(double)
{
  if (const bool on = isOn(session_, parameter_); on != shown_) {
    shown_ = on;
    redraw();
  }
  return false;
}

} // namespace soundfont
