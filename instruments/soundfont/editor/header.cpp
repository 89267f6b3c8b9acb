#include "soundfont/editor/header.h"

namespace soundfont {

namespace {

constexpr double markWidth = 26;
constexpr double messageWidth = 430;

/// Four bars of a small sound wave.
void drawMark(Canvas& canvas, const Rect& rect)
{
  constexpr double heights[] = {0.4, 1.0, 0.65, 0.25};
  constexpr double thickness = 3;
  double x = rect.x + thickness / 2;
  for (const double share : heights) {
    const double half = (rect.height * share - thickness) / 2;
    const double y = rect.center().y;
    canvas.line({x, y - half}, {x, y + half}, thickness, style::accent);
    x += 6;
  }
}

} // namespace

void Header::draw(Canvas& canvas)
{
  drawMark(canvas, {bounds_.x + 2, bounds_.center().y - 11, markWidth, 22});
  const TextStyle big{18, style::text, true};
  const double x = bounds_.x + markWidth + 10;
  const double room = bounds_.width - markWidth - 10 - messageWidth;
  canvas.text({x, bounds_.y, room, bounds_.height}, session_.font->name, big);
  const double end = x + std::min(canvas.widthOf(session_.font->name, big), room) + 14;
  canvas.text({end, bounds_.y + 2, bounds_.right() - messageWidth - end, bounds_.height},
              std::to_string(session_.font->presets.size()) + " presets",
              {style::textSize, style::faintText});
  const std::string& missing = session_.font->missing;
  const std::string standing = missing.empty()
                                   ? "Drop a .sf2 or .sf3 file to play it"
                                   : missing.substr(missing.rfind('/') + 1) + " is missing";
  const Rect right{bounds_.right() - messageWidth, bounds_.y, messageWidth, bounds_.height};
  const bool says = !message_.empty() && !invites_;
  const Color color = invites_ ? style::accent
                      : !says  ? (missing.empty() ? style::faintText : style::warning)
                      : tone_ == Tone::warning ? style::warning
                                               : style::text;
  canvas.text(right,
              invites_ ? "Let go to load this SoundFont"
              : says   ? message_
                       : standing,
              {style::textSize, color, false, Justify::right});
}

bool Header::look(double seconds)
{
  if (font_ != session_.font) {
    font_ = session_.font;
    redraw();
  }
  if (messageLeft_ <= 0)
    return false;
  messageLeft_ -= seconds;
  if (messageLeft_ <= 0)
    sayNothing();
  return messageLeft_ > 0;
}

void Header::say(std::string text, Tone tone, double seconds)
{
  message_ = std::move(text);
  tone_ = tone;
  messageLeft_ = seconds;
  redraw();
}

void Header::sayNothing()
{
  message_.clear();
  messageLeft_ = 0;
  redraw();
}

void Header::setInvites(bool invites)
{
  invites_ = invites;
  redraw();
}

void NowPlaying::draw(Canvas& canvas)
{
  const Rect name{bounds_.x, bounds_.y, bounds_.width, 24};
  canvas.text(name, session_.presetName(channel_), {17, style::text, true});
  const std::string place = "Channel " + std::to_string(channel_ + 1) + "  \u00B7  Bank " +
                            std::to_string(chosen_.bank) + "  \u00B7  Program " +
                            std::to_string(chosen_.program + 1);
  canvas.text({bounds_.x, name.bottom(), bounds_.width, 20}, place,
              {style::smallSize, style::quietText});
  canvas.text({bounds_.x, name.bottom() + 20, bounds_.width, 20},
              std::to_string(voices_) + (voices_ == 1 ? " voice" : " voices"),
              {style::smallSize, voices_ > 0 ? style::accent : style::faintText});
}

bool NowPlaying::look(double)
{
  const Activity& activity = session_.instrument.activity();
  const Activity::Chosen chosen = activity.chosen(session_.channel);
  const int voices = activity.voices();
  if (channel_ != session_.channel || font_ != session_.font || chosen_ != chosen ||
      voices_ != voices)
    redraw();
  channel_ = session_.channel;
  font_ = session_.font;
  chosen_ = chosen;
  voices_ = voices;
  return voices_ > 0;
}

} // namespace soundfont
