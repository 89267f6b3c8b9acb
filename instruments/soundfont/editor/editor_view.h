#pragma once

#include "soundfont/editor/editor.h"
#include "soundfont/editor/part.h"

#include <memory>
#include <vector>

namespace soundfont {

class PresetList;
class Header;

/// The whole picture: the parts, where they lie, and which of them the pointer and the keys mean.
/// Knows nothing of windows. One thread at a time.
class EditorView {
public:
  explicit EditorView(Instrument& instrument);
  ~EditorView();

  // Input, in units
  void press(const Pointer& pointer);
  void move(const Pointer& pointer);
  void release();
  void leave();
  void wheel(Point at, double notches);
  bool key(const EditorKey& key); ///< false: not used
  void dragOver(bool over);       ///< a file hangs above the window
  void drop(const std::string& path);

  bool look(double seconds); ///< later than the last time; true while something moves
  /// Draws what has changed, and answers where.
  const std::vector<Rect>& draw(Canvas& canvas);

private:
  template <class Kind, class... Arguments>
  Kind& add(Arguments&&... arguments);
  void addEffects();
  Part* partAt(Point at) const;
  bool useKey(const EditorKey& key);
  bool keyByCode(const EditorKey& key);
  void lookAgain();
  void takeFontNews();
  void drawGround(Canvas& canvas);

  Session session_;
  std::vector<std::unique_ptr<Part>> parts_;
  PresetList* presets_ = nullptr;
  Header* header_ = nullptr;
  Part* hovered_ = nullptr;
  Part* held_ = nullptr;
  uint32_t fontChanges_;    // that were told
  double quietSeconds_ = 0; // since anything sounded
  bool wholeIsStale_ = true;
  std::vector<Rect> drawn_;
};

} // namespace soundfont
