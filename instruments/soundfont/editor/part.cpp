#include "soundfont/editor/part.h"

namespace soundfont {

const Preset* Session::chosenPreset(int of) const
{
  const Activity::Chosen chosen = instrument.activity().chosen(of);
  for (const Preset& preset : font->presets)
    if (preset.bank == chosen.bank && preset.program == chosen.program)
      return &preset;
  return nullptr;
}

std::string Session::presetName(int of) const
{
  if (const Preset* preset = chosenPreset(of))
    return preset->name;
  // The synth then plays the nearest that there is.
  return "Program " + std::to_string(instrument.activity().chosen(of).program + 1);
}

void drawPanel(Canvas& canvas, const Rect& rect, std::string_view title)
{
  canvas.fillRounded(rect, style::radius, style::panel);
  canvas.frameRounded(rect, style::radius, style::panelEdge);
  const Rect line{rect.x + style::padding, rect.y + 2, rect.width - 2 * style::padding,
                  style::titleHeight - 2};
  canvas.text(line, title, {style::titleSize, style::quietText, true});
}

} // namespace soundfont
