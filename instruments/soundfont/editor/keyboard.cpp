#include "soundfont/editor/keyboard.h"

#include <string>

namespace soundfont {

namespace {

constexpr int lowestKey = 24;
constexpr int highestKey = 96;
constexpr int octave = 12;
constexpr double blackHeight = 0.62; // shares of a white key's
constexpr double blackWidth = 0.62;
constexpr int softest = 24;
constexpr int loudest = 127;

/// By the key in its octave: whether it is black, and the white keys to its left.
struct KeyPlace {
  bool black;
  int whites;
};
constexpr KeyPlace places[octave] = {{false, 0}, {true, 1},  {false, 1}, {true, 2},
                                     {false, 2}, {false, 3}, {true, 4},  {false, 4},
                                     {true, 5},  {false, 5}, {true, 6},  {false, 6}};
constexpr int whitesInOctave = 7;

constexpr bool isBlack(int key)
{
  return places[key % octave].black;
}

/// White keys to the left of this one, from the lowest key on; that starts an octave.
constexpr int whitesBefore(int key)
{
  return (key - lowestKey) / octave * whitesInOctave + places[key % octave].whites;
}

constexpr int whiteCount = whitesBefore(highestKey) + 1;

} // namespace

Rect Keyboard::keyRect(int key) const
{
  const double width = bounds_.width / whiteCount;
  const double x = bounds_.x + whitesBefore(key) * width;
  if (!isBlack(key))
    return {x, bounds_.y, width, bounds_.height};
  return {x - width * blackWidth / 2, bounds_.y, width * blackWidth, bounds_.height * blackHeight};
}

int Keyboard::keyAt(Point at) const
{
  for (bool black : {true, false})
    for (int key = lowestKey; key <= highestKey; ++key)
      if (isBlack(key) == black && keyRect(key).contains(at))
        return key;
  return none;
}

void Keyboard::play(Point at)
{
  const int key = keyAt(at);
  if (key == played_)
    return;
  release();
  if (key == none)
    return;
  const Rect rect = keyRect(key);
  const double depth = (at.y - rect.y) / rect.height;
  if (session_.instrument.pressKey(session_.channel, key,
                                   softest + static_cast<int>((loudest - softest) * depth))) {
    played_ = key;
    playedChannel_ = session_.channel;
  }
}

void Keyboard::release()
{
  if (played_ != none)
    session_.instrument.releaseKey(playedChannel_, played_);
  played_ = none;
}

bool Keyboard::look(double)
{
  KeySet now = session_.instrument.activity().keys(session_.channel);
  if (played_ != none && playedChannel_ == session_.channel)
    now[played_ / 64] |= uint64_t{1} << played_ % 64;
  if (now == lit_)
    return false;
  for (int key = lowestKey; key <= highestKey; ++key)
    if ((now[key / 64] ^ lit_[key / 64]) >> key % 64 & 1)
      redraw(keyRect(key));
  lit_ = now;
  return false;
}

void Keyboard::draw(Canvas& canvas)
{
  for (int key = lowestKey; key <= highestKey; ++key)
    if (!isBlack(key))
      drawWhite(canvas, key);
  for (int key = lowestKey; key <= highestKey; ++key)
    if (isBlack(key))
      drawBlack(canvas, key);
}

void Keyboard::drawWhite(Canvas& canvas, int key)
{
  Rect rect = canvas.snapped(keyRect(key));
  rect.width -= canvas.pixel(); // the gap to the next one
  const bool lit = isLit(key);
  const Color top =
      lit ? mix(style::whiteKey, style::accent, 0.55) : mix(style::whiteKey, {0x000000}, 0.1);
  const Color bottom = lit ? style::accent : style::whiteKey;
  // The upper corners lie above the clip.
  canvas.fillRounded({rect.x, rect.y - 8, rect.width, rect.height + 8}, 4, top, bottom);
  if (key % octave == 0)
    canvas.text({rect.x, rect.bottom() - 20, rect.width, 16},
                "C" + std::to_string(key / octave - 1),
                {9, lit ? style::background : style::faintText, false, Justify::center});
}

void Keyboard::drawBlack(Canvas& canvas, int key)
{
  const Rect rect = canvas.snapped(keyRect(key));
  const bool lit = isLit(key);
  canvas.fillRounded({rect.x, rect.y - 8, rect.width, rect.height + 8}, 3.5, Color{0x0C0D10});
  const Rect top{rect.x + 1.5, rect.y - 8, rect.width - 3, rect.height + (lit ? 5.5 : 3.5)};
  if (lit)
    canvas.fillRounded(top, 2.5, mix(style::accent, {0x000000}, 0.45), style::accent);
  else
    canvas.fillRounded(top, 2.5, style::blackKey, mix(style::blackKey, {0xFFFFFF}, 0.12));
}

} // namespace soundfont
