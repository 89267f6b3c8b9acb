#include "soundfont/editor/editor_view.h"

#include "soundfont/editor/channel_list.h"
#include "soundfont/editor/header.h"
#include "soundfont/editor/keyboard.h"
#include "soundfont/editor/knob.h"
#include "soundfont/editor/preset_list.h"

#include <utility>

namespace soundfont {

namespace {

using style::gap;
using style::margin;
using style::padding;
using style::titleHeight;

constexpr double headerHeight = 44;
constexpr double bodyTop = margin / 2 + headerHeight + 4;
constexpr double keysHeight = 140;
constexpr double bodyHeight = style::height - margin - keysHeight - gap - bodyTop;
constexpr double channelsWidth = 296;
constexpr double effectsWidth = 304;
constexpr double presetsWidth = style::width - 2 * margin - 2 * gap - channelsWidth - effectsWidth;
constexpr double effectsLeft = style::width - margin - effectsWidth;
constexpr double outputHeight = 106;
constexpr double unitHeight = (bodyHeight - outputHeight - 2 * gap) / 2;
constexpr double listInset = 8;
constexpr double moveOnSeconds = 2; // of looking after the last sound

constexpr Rect headerRect{margin, margin / 2, style::width - 2 * margin, headerHeight};
constexpr Rect channelsPanel{margin, bodyTop, channelsWidth, bodyHeight};
constexpr Rect presetsPanel{margin + channelsWidth + gap, bodyTop, presetsWidth, bodyHeight};
constexpr Rect outputPanel{effectsLeft, bodyTop, effectsWidth, outputHeight};
constexpr Rect reverbPanel{effectsLeft, bodyTop + outputHeight + gap, effectsWidth, unitHeight};
constexpr Rect chorusPanel{effectsLeft, bodyTop + bodyHeight - unitHeight, effectsWidth,
                           unitHeight};
constexpr Rect keysPanel{margin, style::height - margin - keysHeight, style::width - 2 * margin,
                         keysHeight};

/// The two effects: their panel, switch and knobs.
struct EffectKnob {
  Parameter parameter;
  const char* name;
};
struct EffectUnit {
  Rect panel;
  const char* title;
  Parameter on;
  std::vector<EffectKnob> knobs;
};

const EffectUnit effectUnits[] = {
    {reverbPanel,
     "Reverb",
     Parameter::reverbOn,
     {{Parameter::reverbRoom, "Room"},
      {Parameter::reverbDamp, "Damping"},
      {Parameter::reverbWidth, "Width"},
      {Parameter::reverbLevel, "Level"}}},
    {chorusPanel,
     "Chorus",
     Parameter::chorusOn,
     {{Parameter::chorusVoices, "Voices"},
      {Parameter::chorusSpeed, "Speed"},
      {Parameter::chorusDepth, "Depth"},
      {Parameter::chorusLevel, "Level"}}},
};

/// What lies below a panel's title.
constexpr Rect listIn(const Rect& panel)
{
  return {panel.x + listInset, panel.y + titleHeight, panel.width - 2 * listInset,
          panel.height - titleHeight - listInset};
}

} // namespace

template <class Kind, class... Arguments>
Kind& EditorView::add(Arguments&&... arguments)
{
  auto part = std::make_unique<Kind>(session_, std::forward<Arguments>(arguments)...);
  Kind& added = *part;
  parts_.push_back(std::move(part));
  return added;
}

EditorView::EditorView(Instrument& instrument)
    : session_{instrument, instrument.font()}, fontChanges_(instrument.fontChanges())
{
  header_ = &add<Header>(headerRect);
  add<ChannelList>(listIn(channelsPanel));
  presets_ = &add<PresetList>(listIn(presetsPanel));
  addEffects();
  add<Keyboard>(
      Rect{keysPanel.x + 10, keysPanel.y + 10, keysPanel.width - 20, keysPanel.height - 20});
  look(0);
}

EditorView::~EditorView() = default;

void EditorView::addEffects()
{
  constexpr double knobHeight = 84;
  constexpr double knobWidth = (effectsWidth - 2 * listInset) / 4;
  add<Knob>(Rect{outputPanel.x + listInset, outputPanel.y + 13, knobWidth, knobHeight},
            Parameter::gain, "Gain");
  const double textLeft = outputPanel.x + listInset + knobWidth + 12;
  add<NowPlaying>(Rect{textLeft, outputPanel.y + 21, outputPanel.right() - padding - textLeft, 66});
  for (const EffectUnit& unit : effectUnits) {
    add<Switch>(Rect{unit.panel.right() - padding - 30, unit.panel.y + 11, 30, 16}, unit.on);
    const double width =
        (unit.panel.width - 2 * listInset) / static_cast<double>(unit.knobs.size());
    const double room = unit.panel.height - titleHeight;
    double x = unit.panel.x + listInset;
    for (const EffectKnob& knob : unit.knobs) {
      add<Knob>(
          Rect{x, unit.panel.y + titleHeight + (room - knobHeight) / 2 - 4, width, knobHeight},
          knob.parameter, knob.name, unit.on);
      x += width;
    }
  }
}

Part* EditorView::partAt(Point at) const
{
  for (const auto& part : parts_)
    if (part->bounds().contains(at))
      return part.get();
  return nullptr;
}

void EditorView::press(const Pointer& pointer)
{
  held_ = partAt(pointer.at);
  if (held_)
    held_->press(pointer);
  lookAgain();
}

void EditorView::move(const Pointer& pointer)
{
  if (held_) {
    held_->drag(pointer);
    return;
  }
  Part* over = partAt(pointer.at);
  if (hovered_ && hovered_ != over)
    hovered_->leave();
  hovered_ = over;
  if (over)
    over->hover(pointer.at);
}

void EditorView::release()
{
  if (Part* held = std::exchange(held_, nullptr))
    held->release();
}

void EditorView::leave()
{
  if (Part* hovered = std::exchange(hovered_, nullptr))
    hovered->leave();
}

void EditorView::wheel(Point at, double notches)
{
  if (Part* part = partAt(at))
    part->wheel(at, notches);
  lookAgain();
}

/// What comes next may build on what this has changed.
void EditorView::lookAgain()
{
  for (const auto& part : parts_)
    part->look(0);
}

bool EditorView::keyByCode(const EditorKey& key)
{
  constexpr int all = 1 << 20;
  const int page = presets_->rowsInSight() - 1;
  switch (key.code) {
  case EditorKey::up:
    presets_->step(-1);
    return true;
  case EditorKey::down:
    presets_->step(1);
    return true;
  case EditorKey::pageUp:
    presets_->step(-page);
    return true;
  case EditorKey::pageDown:
    presets_->step(page);
    return true;
  case EditorKey::home:
    presets_->step(-all);
    return true;
  case EditorKey::end:
    presets_->step(all);
    return true;
  case EditorKey::left:
  case EditorKey::right:
    session_.channel =
        std::clamp(session_.channel + (key.code == EditorKey::left ? -1 : 1), 0, channelCount - 1);
    return true;
  default:
    return false;
  }
}

bool EditorView::key(const EditorKey& key)
{
  const bool used = useKey(key);
  if (used)
    lookAgain();
  return used;
}

bool EditorView::useKey(const EditorKey& key)
{
  if (key.modifiers & (EditorKey::alt | EditorKey::command | EditorKey::control))
    return false;
  // Letters and digits have codes of their own, so the character goes first.
  if (key.character <= ' ' || key.character > '~') {
    const bool space = key.character == ' ' && presets_->isTyping();
    if (space)
      presets_->type(' ');
    return space || (key.character != ' ' && keyByCode(key));
  }
  presets_->type(static_cast<char>(key.character));
  return true;
}

void EditorView::dragOver(bool over)
{
  header_->setInvites(over);
}

void EditorView::drop(const std::string& path)
{
  header_->setInvites(false);
  if (!session_.instrument.changeFont(path))
    header_->say("Another SoundFont is still loading", Header::Tone::warning);
}

void EditorView::takeFontNews()
{
  using Change = Instrument::FontChange;
  const uint32_t changes = session_.instrument.fontChanges(); // before how the last one went
  const Change change = session_.instrument.fontChange();
  session_.font = session_.instrument.font();
  if (std::exchange(fontChanges_, changes) == changes)
    return;
  if (change == Change::loading)
    header_->say("Loading\u2026", Header::Tone::plain, 1e9);
  else if (change == Change::failed)
    header_->say("That file is no SoundFont that can be played", Header::Tone::warning, 8);
  else
    header_->sayNothing();
}

bool EditorView::look(double seconds)
{
  takeFontNews();
  bool moves = false;
  for (const auto& part : parts_)
    moves |= part->look(seconds);
  quietSeconds_ = moves ? 0 : quietSeconds_ + seconds;
  return quietSeconds_ < moveOnSeconds;
}

void EditorView::drawGround(Canvas& canvas)
{
  canvas.fill({0, 0, style::width, style::height}, style::background);
  drawPanel(canvas, channelsPanel, "Channels");
  drawPanel(canvas, presetsPanel, "Presets");
  drawPanel(canvas, outputPanel, "");
  for (const EffectUnit& unit : effectUnits)
    drawPanel(canvas, unit.panel, unit.title);
  drawPanel(canvas, keysPanel, "");
}

const std::vector<Rect>& EditorView::draw(Canvas& canvas)
{
  drawn_.clear();
  for (const auto& part : parts_)
    if (const Rect stale = part->takeStale(); !stale.empty())
      drawn_.push_back(stale);
  if (std::exchange(wholeIsStale_, false))
    drawn_ = {{0, 0, style::width, style::height}};
  for (const Rect& stale : drawn_) {
    canvas.begin(stale);
    drawGround(canvas);
    for (const auto& part : parts_)
      if (part->bounds().meets(stale)) {
        canvas.begin(part->bounds());
        part->draw(canvas);
        canvas.end();
      }
    canvas.end();
  }
  return drawn_;
}

} // namespace soundfont
