#include "ui/views/basic/text_edit.h"

#include "foundation/class_registry.h"
#include "foundation/message.h"
#include "ui/views/basic/theme.h"
#include "ui/views/desktop.h"
#include "ui/views/graphics.h"
#include "ui/views/text_place.h"

#include <algorithm>
#include <cmath>

namespace orbi {

CM_REGISTER(UTextEdit);

namespace {

constexpr int32_t inset = 5;
constexpr int64_t blinkMilliseconds = 530;

/// In one line, without what can't be seen.
std::string asLine(std::string_view text)
{
  std::string line;
  for (const char c : text)
    if (c == '\n' || c == '\t')
      line += ' ';
    else if (static_cast<uint8_t>(c) >= ' ' && c != 0x7F)
      line += c;
  return line;
}

/// The longest beginning that fits without cutting a character.
std::string_view fitting(std::string_view text, size_t bytes)
{
  if (text.size() <= bytes)
    return text;
  const size_t before = previousCharacter(text, bytes);
  return text.substr(0, nextCharacter(text, before) <= bytes ? bytes : before);
}

} // namespace

UTextEdit::UTextEdit(const Rect& rect, UValue* value) : CmClass(rect, value)
{
  setFocusable(true);
  setCursor(platform::Cursor::text);
  load();
}

// Text and value

bool UTextEdit::canEdit() const
{
  return !readOnly_ && isEnabled() && (!value() || !value()->isReadOnly());
}

std::string UTextEdit::valueText() const
{
  CmString text;
  if (value())
    value()->getStringThis(text);
  return text.text();
}

void UTextEdit::load()
{
  if (value())
    setText(valueText());
}

void UTextEdit::setText(std::string_view text)
{
  text_ = fitting(text, longest);
  committed_ = answer_ = text_;
  scroll_ = 0.0;
  select(text_.size(), text_.size());
}

void UTextEdit::valueChanged()
{
  if (!committing_ && value() && valueText() != answer_)
    load();
  invalidate();
}

void UTextEdit::commit()
{
  if (!canEdit())
    return;
  tellValue();
  if (valueText() != text_)
    load();
}

void UTextEdit::tellValue()
{
  if (text_ == committed_ || !canEdit())
    return;
  committed_ = text_;
  if (!value())
    return;
  const std::string typed = text_;
  committing_ = true;
  beginEdit();
  value()->setText(typed.c_str());
  endEdit();
  committing_ = false;
  answer_ = valueText();
}

void UTextEdit::revert()
{
  setText(std::string(committed_));
  selectAll();
}

void UTextEdit::textChanged()
{
  scrollToCaret();
  showCaret();
  invalidate();
  if (commit_ == Commit::immediately)
    tellValue();
  if (UWindow* owner = window())
    owner->command(*this, UWindow::commandForward);
}

// Selection and editing

std::string UTextEdit::selectedText() const
{
  return text_.substr(selectionStart(), selectionEnd() - selectionStart());
}

void UTextEdit::select(size_t from, size_t to)
{
  anchor_ = std::min(from, text_.size());
  caret_ = std::min(to, text_.size());
  scrollToCaret();
  showCaret();
  invalidate();
}

void UTextEdit::moveCaret(size_t to, bool extends)
{
  select(extends ? anchor_ : to, to);
}

void UTextEdit::insert(std::string_view text)
{
  if (!canEdit())
    return;
  const size_t start = selectionStart();
  text_.erase(start, selectionEnd() - start);
  const std::string line = asLine(text);
  const std::string_view fits = fitting(line, longest - std::min(longest, text_.size()));
  text_.insert(start, fits);
  caret_ = anchor_ = start + fits.size();
  textChanged();
}

/// The selection, or from the caret to a place.
void UTextEdit::erase(size_t to)
{
  if (!hasSelection())
    anchor_ = to;
  if (hasSelection())
    insert({});
}

void UTextEdit::copy()
{
  UDesktop* desktop = UDesktop::instance();
  if (desktop && hasSelection())
    desktop->system().setClipboard(selectedText());
}

void UTextEdit::cut()
{
  copy();
  if (hasSelection())
    insert({});
}

void UTextEdit::paste()
{
  if (UDesktop* desktop = UDesktop::instance(); desktop && canEdit())
    insert(desktop->system().clipboard());
}

// Keys

struct UTextEdit::KeyRow {
  uint8_t key;
  uint32_t modifiers;
  void (*run)(UTextEdit& edit, bool extends);
  bool moves; ///< and extends the selection with Shift
};

namespace {

constexpr uint32_t control = platform::controlKey;
constexpr uint8_t letter(char c)
{
  return static_cast<uint8_t>(keyLetterA + (c - 'A'));
}

} // namespace

const UTextEdit::KeyRow UTextEdit::keyRows[] = {
    {keyArrowLeft, 0,
     [](UTextEdit& edit, bool extends) {
       const bool collapses = edit.hasSelection() && !extends;
       edit.moveCaret(
           collapses ? edit.selectionStart() : previousCharacter(edit.text_, edit.caret_), extends);
     },
     true},
    {keyArrowRight, 0,
     [](UTextEdit& edit, bool extends) {
       const bool collapses = edit.hasSelection() && !extends;
       edit.moveCaret(collapses ? edit.selectionEnd() : nextCharacter(edit.text_, edit.caret_),
                      extends);
     },
     true},
    {keyArrowLeft, control,
     [](UTextEdit& edit, bool extends) {
       edit.moveCaret(previousWord(edit.text_, edit.caret_), extends);
     },
     true},
    {keyArrowRight, control,
     [](UTextEdit& edit, bool extends) {
       edit.moveCaret(nextWord(edit.text_, edit.caret_), extends);
     },
     true},
    {keyHome, 0, [](UTextEdit& edit, bool extends) { edit.moveCaret(0, extends); }, true},
    {keyEnd, 0, [](UTextEdit& edit, bool extends) { edit.moveCaret(edit.text_.size(), extends); },
     true},
    {keyBack, 0,
     [](UTextEdit& edit, bool) { edit.erase(previousCharacter(edit.text_, edit.caret_)); }, false},
    {keyBack, control,
     [](UTextEdit& edit, bool) { edit.erase(previousWord(edit.text_, edit.caret_)); }, false},
    {keyDelete, 0,
     [](UTextEdit& edit, bool) { edit.erase(nextCharacter(edit.text_, edit.caret_)); }, false},
    {keyDelete, control,
     [](UTextEdit& edit, bool) { edit.erase(nextWord(edit.text_, edit.caret_)); }, false},
    {letter('A'), control, [](UTextEdit& edit, bool) { edit.selectAll(); }, false},
    {letter('C'), control, [](UTextEdit& edit, bool) { edit.copy(); }, false},
    {keyInsert, control, [](UTextEdit& edit, bool) { edit.copy(); }, false},
    {letter('X'), control, [](UTextEdit& edit, bool) { edit.cut(); }, false},
    {keyDelete, platform::shiftKey, [](UTextEdit& edit, bool) { edit.cut(); }, false},
    {letter('V'), control, [](UTextEdit& edit, bool) { edit.paste(); }, false},
    {keyInsert, platform::shiftKey, [](UTextEdit& edit, bool) { edit.paste(); }, false},
};

bool UTextEdit::runKey(const UKeyCode& key)
{
  for (const KeyRow& row : keyRows) {
    const uint32_t held = key.modifiers & ~(row.moves ? uint32_t{platform::shiftKey} : 0u);
    if (row.key != key.key || row.modifiers != held)
      continue;
    row.run(*this, key.has(platform::shiftKey));
    return true;
  }
  return false;
}

bool UTextEdit::keyDown(const UKeyCode& key)
{
  if (runKey(key))
    return true;
  const bool isReturn = key.key == keyReturn || key.key == keyEnter;
  if (isReturn && key.isOnly(0)) {
    commit();
    const auto entered = entered_;
    if (entered)
      entered();
    return entered != nullptr; // else the dialog's default button is next
  }
  if (key.key == keyEscape && text_ != committed_) {
    revert();
    return true;
  }
  const bool types = key.character >= U' ' && key.character != 0x7F;
  if (!types || key.has(platform::controlKey | platform::altKey | platform::superKey))
    return key.key == keyBack; // at the beginning of the line
  std::string typed;
  appendCharacter(typed, key.character);
  insert(typed);
  return true;
}

// Pointer and focus

size_t UTextEdit::placeAt(Point where) const
{
  return UGraphics::byteAt(text_, UTheme::instance().font, where.x - inset + scroll_);
}

bool UTextEdit::mouseDown(const UMouseEvent& event)
{
  if (event.button != platform::leftButton)
    return false;
  const size_t place = placeAt(event.where);
  if (event.clicks == 2) {
    const size_t end = nextWord(text_, place);
    select(previousWord(text_, end), end);
  } else {
    moveCaret(place, (event.modifiers & platform::shiftKey) != 0);
  }
  return true;
}

void UTextEdit::mouseMoved(const UMouseEvent& event)
{
  if (hasMouse() && (event.buttons & platform::leftButton))
    moveCaret(placeAt(event.where), true);
}

void UTextEdit::onFocus(bool has)
{
  focused_ = has;
  UWindow* owner = window();
  if (has && owner)
    owner->addTimer(*this, blinkMilliseconds);
  else if (owner)
    owner->removeTimer(*this);
  if (has)
    selectAll();
  else
    commit();
  invalidate();
}

void UTextEdit::detached()
{
  UControl::detached();
  focused_ = false;
}

int32_t UTextEdit::handleMessage(FMessage& message)
{
  for (const char* ofMenu : {"ContextMenu", "MenuCanSelect", "MenuSelect"})
    if (message.isMessage(ofMenu))
      return handleMenu(message);
  if (!message.isMessage("Timer"))
    return UControl::handleMessage(message);
  caretShown_ = !caretShown_;
  invalidate();
  return 1;
}

void UTextEdit::showCaret()
{
  caretShown_ = true;
}

void UTextEdit::scrollToCaret()
{
  const double room = std::max(bounds().width() - 2 * inset, 0);
  const platform::Font& font = UTheme::instance().font;
  const double place = UGraphics::offsetOf(text_, font, caret_);
  const double end = UGraphics::offsetOf(text_, font, text_.size());
  scroll_ = std::clamp(scroll_, place - room, place);
  scroll_ = std::clamp(scroll_, 0.0, std::max(end - room, 0.0));
}

// Drawing

Size UTextEdit::preferredSize() const
{
  const UTheme& theme = UTheme::instance();
  return {size().width, std::max(theme.buttonHeight, UGraphics::lineHeight(theme.font) + 8)};
}

void UTextEdit::draw(Canvas& canvas, const Rect&)
{
  const UTheme& theme = UTheme::instance();
  canvas.fillRounded(bounds(), theme.radius, theme.field);
  canvas.frame(bounds(), theme.radius, 1, focused_ ? theme.accent : theme.border);
  canvas.save();
  const Rect room = bounds().grownBy(-inset, -3);
  canvas.clip(room.grownBy(1, 0));
  const auto across = [&](size_t byte) {
    return room.left + static_cast<int32_t>(
                           std::lround(UGraphics::offsetOf(text_, theme.font, byte) - scroll_));
  };
  if (focused_ && hasSelection())
    canvas.fill({across(selectionStart()), room.top, across(selectionEnd()), room.bottom},
                theme.accent);
  const int32_t width = across(text_.size()) - across(0) + 2;
  platform::TextStyle style = theme.textStyle(isEnabled() ? theme.text : theme.dimmed);
  style.overflow = platform::Overflow::clip;
  canvas.text(text_, {across(0), bounds().top, across(0) + width, bounds().bottom}, style);
  if (focused_ && caretShown_ && canEdit())
    canvas.fill({across(caret_), room.top, across(caret_) + 1, room.bottom}, theme.text);
  canvas.restore();
}

} // namespace orbi
