#include "soundfont/editor/channel_list.h"

#include <cmath>

namespace soundfont {

namespace {

constexpr double meterWidth = 62;
constexpr double numberWidth = 30;
constexpr double fallHeld = 0.9; // parts of a second until a meter has fallen to a third, keys down
constexpr double fallFree = 0.22;
constexpr double nothing = 0.01; // of a meter: no pixel

} // namespace

ChannelList::ChannelList(Session& session, const Rect& bounds) : Part(session, bounds)
{
  for (int i = 0; i < channelCount; ++i)
    rows_[i].strikes = session.instrument.activity().strikes(i).count; // of long ago
}

Rect ChannelList::rowRect(int channel) const
{
  const double height = bounds_.height / channelCount;
  return {bounds_.x, bounds_.y + channel * height, bounds_.width, height};
}

Rect ChannelList::meterRect(int channel) const
{
  const Rect row = rowRect(channel);
  return {row.right() - meterWidth - 10, row.center().y - 2.5, meterWidth, 5};
}

int ChannelList::channelAt(Point at) const
{
  return bounds_.contains(at)
             ? std::min(static_cast<int>((at.y - bounds_.y) / (bounds_.height / channelCount)),
                        channelCount - 1)
             : -1;
}

void ChannelList::draw(Canvas& canvas)
{
  for (int i = 0; i < channelCount; ++i)
    drawRow(canvas, i);
}

void ChannelList::drawRow(Canvas& canvas, int channel)
{
  const Rect row = rowRect(channel);
  const Row& shown = rows_[channel];
  const bool isChosen = channel == session_.channel;
  if (isChosen || channel == hovered_)
    canvas.fillRounded({row.x, row.y + 0.5, row.width, row.height - 1}, 6,
                       isChosen ? style::chosen : style::hovered);
  const bool sounds = shown.level > nothing;
  canvas.text({row.x, row.y, numberWidth - 8, row.height}, std::to_string(channel + 1),
              {style::smallSize, isChosen || sounds ? style::accent : style::faintText, isChosen,
               Justify::right});
  const Rect meter = meterRect(channel);
  const bool drums = channel == drumChannel;
  Rect name{row.x + numberWidth + 4, row.y, meter.x - row.x - numberWidth - 14, row.height};
  if (drums) {
    constexpr double tagWidth = 44;
    const Rect tag{name.right() - tagWidth, row.center().y - 7.5, tagWidth, 15};
    canvas.fillRounded(tag, 7.5, style::accent.at(0.16));
    canvas.text(tag, "Drums", {9.5, style::accent, false, Justify::center});
    name.width -= tagWidth + 6;
  }
  canvas.text(name, shown.name, {style::textSize, isChosen ? style::text : style::quietText});
  canvas.fillRounded(meter, 2.5, style::well);
  if (sounds)
    canvas.fillRounded(
        {meter.x, meter.y, std::max(meter.height, meter.width * shown.level), meter.height}, 2.5,
        mix(style::accent, {0xFFFFFF}, 0.25 * shown.level));
}

void ChannelList::press(const Pointer& pointer)
{
  if (const int channel = channelAt(pointer.at); channel >= 0)
    session_.channel = channel;
}

void ChannelList::hover(Point at)
{
  if (const int channel = channelAt(at); channel != hovered_) {
    for (int row : {hovered_, channel})
      if (row >= 0)
        redraw(rowRect(row));
    hovered_ = channel;
  }
}

void ChannelList::leave()
{
  hover({-1, -1});
}

void ChannelList::wheel(Point, double notches)
{
  session_.channel = std::clamp(session_.channel - (notches > 0 ? 1 : -1), 0, channelCount - 1);
}

bool ChannelList::look(double seconds)
{
  if (font_ != session_.font) {
    font_ = session_.font;
    for (int i = 0; i < channelCount; ++i)
      rows_[i].name = session_.presetName(i);
    redraw();
  }
  if (shownChannel_ != session_.channel) {
    for (int row : {shownChannel_, session_.channel})
      if (row >= 0)
        redraw(rowRect(row));
    shownChannel_ = session_.channel;
  }
  bool moves = false;
  for (int i = 0; i < channelCount; ++i)
    moves |= lookAt(i, seconds);
  return moves;
}

bool ChannelList::lookAt(int channel, double seconds)
{
  const Activity& activity = session_.instrument.activity();
  Row& row = rows_[channel];
  if (const Activity::Chosen chosen = activity.chosen(channel); row.chosen != chosen) {
    row.chosen = chosen;
    row.name = session_.presetName(channel);
    redraw(rowRect(channel));
  }
  const double before = row.level;
  if (before > 0) {
    const KeySet keys = activity.keys(channel);
    row.level *= std::exp(-seconds / (keys[0] | keys[1] ? fallHeld : fallFree));
    if (row.level < nothing)
      row.level = 0;
  }
  if (const Activity::Strikes strikes = activity.strikes(channel); strikes.count != row.strikes) {
    row.strikes = strikes.count;
    row.level = std::max(row.level, strikes.loudness / 127.0);
  }
  if (row.level != before)
    redraw((before > nothing) != (row.level > nothing) ? rowRect(channel) : meterRect(channel));
  return row.level > 0;
}

} // namespace soundfont
