#include "soundfont/editor/preset_list.h"

#include <algorithm>
#include <cctype>

namespace soundfont {

namespace {

using namespace std::chrono_literals;

constexpr double rowHeight = 24;
constexpr double barWidth = 12; // with the room around it
constexpr double numberWidth = 34;
constexpr double shortestThumb = 28;
constexpr int rowsPerNotch = 3;
constexpr auto longestPause = 900ms; // between the letters of one name

constexpr const char* families[] = {"Piano",      "Chromatic percussion",
                                    "Organ",      "Guitar",
                                    "Bass",       "Strings",
                                    "Ensemble",   "Brass",
                                    "Reed",       "Pipe",
                                    "Synth lead", "Synth pad",
                                    "Effects",    "Ethnic",
                                    "Percussive", "Sound effects"};
constexpr int familySize = 8;

std::string groupOf(const Preset& preset)
{
  if (preset.bank == drumBank)
    return "Drum kits";
  if (preset.bank == 0)
    return families[preset.program / familySize];
  return "Bank " + std::to_string(preset.bank);
}

bool startsWith(const std::string& name, const std::string& start)
{
  return name.size() >= start.size() &&
         std::equal(start.begin(), start.end(), name.begin(), [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) ==
                  std::tolower(static_cast<unsigned char>(b));
         });
}

} // namespace

/// Drum kits for the drums, all else for the others; everything where that leaves nothing.
void PresetList::makeRows()
{
  rows_.clear();
  font_ = session_.font;
  forDrums_ = session_.channel == drumChannel;
  const auto suits = [this](const Preset& preset) {
    return (preset.bank == drumBank) == forDrums_;
  };
  const bool any = std::any_of(font_->presets.begin(), font_->presets.end(), suits);
  std::string group;
  for (const Preset& preset : font_->presets) {
    if (any && !suits(preset))
      continue;
    if (std::string its = groupOf(preset); its != group) {
      group = its;
      rows_.push_back({nullptr, std::move(its)});
    }
    rows_.push_back({&preset, preset.name});
  }
  hovered_ = -1;
  redraw();
}

double PresetList::longestScroll() const
{
  return std::max(0.0, static_cast<double>(rows_.size()) * rowHeight - bounds_.height);
}

int PresetList::rowsInSight() const
{
  return static_cast<int>(bounds_.height / rowHeight);
}

Rect PresetList::rowRect(int row) const
{
  return {bounds_.x, bounds_.y + row * rowHeight - scroll_, bounds_.width - barWidth, rowHeight};
}

Rect PresetList::thumbRect() const
{
  const double longest = longestScroll();
  if (longest <= 0)
    return {};
  const double height =
      std::max(shortestThumb, bounds_.height * bounds_.height / (bounds_.height + longest));
  return {bounds_.right() - 7, bounds_.y + (bounds_.height - height) * scroll_ / longest, 5,
          height};
}

int PresetList::presetAt(Point at) const
{
  if (!bounds_.contains(at) || at.x >= bounds_.right() - barWidth)
    return -1;
  const auto row = static_cast<size_t>((at.y - bounds_.y + scroll_) / rowHeight);
  return row < rows_.size() && rows_[row].preset ? static_cast<int>(row) : -1;
}

int PresetList::rowOf(const Preset* preset) const
{
  for (size_t i = 0; i < rows_.size(); ++i)
    if (preset && rows_[i].preset == preset)
      return static_cast<int>(i);
  return -1;
}

void PresetList::draw(Canvas& canvas)
{
  const int first = static_cast<int>(scroll_ / rowHeight);
  const int end = std::min(static_cast<int>(rows_.size()), first + rowsInSight() + 2);
  canvas.begin(bounds_);
  for (int i = first; i < end; ++i)
    drawRow(canvas, i);
  constexpr double fade = 20; // what is cut off by an edge vanishes towards it
  const Rect list{bounds_.x, bounds_.y, bounds_.width - barWidth, fade};
  if (scroll_ > 0)
    canvas.fillRounded(list, 0, style::panel, style::panel.at(0));
  if (scroll_ < longestScroll())
    canvas.fillRounded({list.x, bounds_.bottom() - fade, list.width, fade}, 0, style::panel.at(0),
                       style::panel);
  const Rect thumb = thumbRect();
  if (!thumb.empty())
    canvas.fillRounded(thumb, 2.5, grip_ >= 0 ? style::quietText : style::faintText.at(0.7));
  canvas.end();
}

void PresetList::drawRow(Canvas& canvas, int row)
{
  const Rect rect = rowRect(row);
  const Preset* preset = rows_[row].preset;
  if (!preset) {
    const TextStyle heading{style::smallSize, style::faintText, true};
    const double x = rect.x + 10;
    canvas.text({x, rect.y + 3, rect.width - 20, rect.height - 3}, rows_[row].text, heading);
    const double from = x + canvas.widthOf(rows_[row].text, heading) + 10;
    const double y = canvas.snapped(rect.center().y + 2);
    canvas.fill({from, y, rect.right() - 8 - from, canvas.pixel()}, style::panelEdge);
    return;
  }
  const bool isChosen = row == chosenRow_;
  if (isChosen || row == hovered_)
    canvas.fillRounded({rect.x, rect.y + 0.5, rect.width, rect.height - 1}, 6,
                       isChosen ? style::chosen : style::hovered);
  if (isChosen)
    canvas.fillRounded({rect.x, rect.y + 5, 3, rect.height - 10}, 1.5, style::accent);
  canvas.text(
      {rect.x, rect.y, numberWidth, rect.height}, std::to_string(preset->program + 1),
      {style::smallSize, isChosen ? style::accent : style::faintText, false, Justify::right});
  canvas.text({rect.x + numberWidth + 12, rect.y, rect.width - numberWidth - 20, rect.height},
              rows_[row].text,
              {style::textSize, isChosen ? style::text : mix(style::quietText, style::text, 0.45),
               isChosen});
}

void PresetList::press(const Pointer& pointer)
{
  if (pointer.at.x < bounds_.right() - barWidth) {
    choose(presetAt(pointer.at));
    return;
  }
  const Rect thumb = thumbRect();
  if (thumb.empty())
    return;
  const bool held = pointer.at.y >= thumb.y && pointer.at.y < thumb.bottom();
  grip_ = held ? pointer.at.y - thumb.y : thumb.height / 2;
  drag(pointer);
  redraw();
}

void PresetList::drag(const Pointer& pointer)
{
  const double way = bounds_.height - thumbRect().height;
  if (grip_ >= 0 && way > 0)
    scrollTo((pointer.at.y - grip_ - bounds_.y) / way * longestScroll());
}

void PresetList::release()
{
  if (grip_ >= 0)
    redraw();
  grip_ = -1;
}

void PresetList::hover(Point at)
{
  if (const int row = presetAt(at); row != hovered_) {
    for (int changed : {hovered_, row})
      if (changed >= 0)
        redraw(rowRect(changed));
    hovered_ = row;
  }
}

void PresetList::leave()
{
  hover({-1, -1});
}

void PresetList::wheel(Point at, double notches)
{
  scrollTo(scroll_ - notches * rowsPerNotch * rowHeight);
  hover(at);
}

void PresetList::scrollTo(double offset)
{
  offset = std::clamp(offset, 0.0, longestScroll());
  if (offset == scroll_)
    return;
  scroll_ = offset;
  redraw();
}

void PresetList::showRow(int row)
{
  if (row < 0)
    return;
  // The heading above comes into sight with the first of its group.
  const double top = (row > 0 && !rows_[row - 1].preset ? row - 1 : row) * rowHeight;
  const double bottom = (row + 1) * rowHeight;
  if (top < scroll_)
    scrollTo(top);
  else if (bottom > scroll_ + bounds_.height)
    scrollTo(bottom - bounds_.height);
}

void PresetList::choose(int row)
{
  if (row < 0)
    return;
  const Preset& preset = *rows_[row].preset;
  session_.instrument.setChannelProgram(session_.channel, preset.program, preset.bank);
  showRow(row);
}

void PresetList::step(int by)
{
  const int direction = by < 0 ? -1 : 1;
  int target = -1;
  int row = chosenRow_ < 0 && by < 0 ? static_cast<int>(rows_.size()) : chosenRow_;
  for (int left = std::abs(by); left > 0; --left) {
    do
      row += direction;
    while (row >= 0 && row < static_cast<int>(rows_.size()) && !rows_[row].preset);
    if (row < 0 || row >= static_cast<int>(rows_.size()))
      break;
    target = row;
  }
  choose(target);
}

bool PresetList::isTyping() const
{
  return !typed_.empty() && std::chrono::steady_clock::now() - lastLetter_ < longestPause;
}

void PresetList::type(char letter)
{
  typed_ = isTyping() ? typed_ + letter : std::string(1, letter);
  lastLetter_ = std::chrono::steady_clock::now();
  // A new name starts behind the chosen one, so that the same letter goes on to the next.
  const auto count = static_cast<int>(rows_.size());
  const int from = std::max(chosenRow_, 0) + (typed_.size() == 1 ? 1 : 0);
  for (int i = 0; i < count; ++i)
    if (const int row = (from + i) % count;
        rows_[row].preset && startsWith(rows_[row].text, typed_))
      return choose(row);
}

bool PresetList::look(double)
{
  const bool drums = session_.channel == drumChannel;
  const bool other = font_ != session_.font || drums != forDrums_;
  if (other)
    makeRows();
  const int chosen = rowOf(session_.chosenPreset(session_.channel));
  if (chosen == chosenRow_ && !other && shownChannel_ == session_.channel)
    return false;
  chosenRow_ = chosen;
  shownChannel_ = session_.channel;
  scroll_ = std::min(scroll_, longestScroll());
  showRow(chosen);
  redraw();
  return false;
}

} // namespace soundfont
