#pragma once

#include "ui/views/control.h"

#include <functional>
#include <string>

namespace orbi {

/// Line of text that can be edited. What is typed reaches the value with Return and when the focus
/// leaves, or at once; Escape takes it back. The text is UTF-8.
class UTextEdit : public CmClass<UTextEdit, UControl> {
public:
  static constexpr const char* className = "UTextEdit";
  static constexpr size_t longest = 65536; ///< bytes

  enum class Commit { atEnd, immediately };

  explicit UTextEdit(const Rect& rect = {}, UValue* value = nullptr);

  const std::string& text() const { return text_; }
  void setText(std::string_view text); ///< as if loaded: the value isn't told
  void setCommit(Commit commit) { commit_ = commit; }
  void setReadOnly(bool readOnly) { readOnly_ = readOnly; } ///< can be selected and copied
  void setEntered(std::function<void()> entered) { entered_ = std::move(entered); } ///< by Return
  void commit(); ///< to the value, which may set it right

  // Selection, as byte offsets between characters
  size_t caret() const { return caret_; }
  size_t selectionStart() const { return std::min(caret_, anchor_); }
  size_t selectionEnd() const { return std::max(caret_, anchor_); }
  bool hasSelection() const { return caret_ != anchor_; }
  std::string selectedText() const;
  void select(size_t from, size_t to); ///< the caret at the end
  void selectAll() { select(0, text_.size()); }

  // Editing, as keys do it
  void insert(std::string_view text); ///< in the selection's place; line ends become spaces
  void copy();
  void cut();
  void paste();

  bool keyDown(const UKeyCode& key) override;
  bool mouseDown(const UMouseEvent& event) override;
  void mouseMoved(const UMouseEvent& event) override;
  void mouseUp(const UMouseEvent&) override {}
  void onFocus(bool has) override;
  void draw(Canvas& canvas, const Rect& damage) override;
  Size preferredSize() const override;
  /// "Timer": the caret blinks; "ContextMenu" and what its menu sends.
  int32_t handleMessage(FMessage& message) override;
  void detached() override;

protected:
  void valueChanged() override;

private:
  struct KeyRow;
  static const KeyRow keyRows[];

  bool canEdit() const;
  void load();
  void tellValue();
  void revert();
  void moveCaret(size_t to, bool extends);
  void erase(size_t to);
  void textChanged();
  void scrollToCaret();
  void showCaret();
  size_t placeAt(Point where) const;
  std::string valueText() const;
  bool runKey(const UKeyCode& key);
  int32_t handleMenu(FMessage& message);

  std::string text_;
  std::string committed_; ///< what Escape goes back to
  std::string answer_;    ///< the value's text when it was told that
  size_t caret_ = 0;
  size_t anchor_ = 0;
  double scroll_ = 0.0; ///< units by which the text is moved to the left
  Commit commit_ = Commit::atEnd;
  bool readOnly_ = false;
  bool focused_ = false;
  bool caretShown_ = false;
  bool committing_ = false;
  std::function<void()> entered_;
};

} // namespace orbi
