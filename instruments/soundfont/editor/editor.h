#pragma once

#include "orb/orb.h"
#include "soundfont/instrument.h"

#include <cstdint>
#include <memory>

namespace soundfont {

/// A key as the host tells it.
struct EditorKey {
  enum Code {
    end = 9,
    home = 10,
    left = 11,
    up = 12,
    right = 13,
    down = 14,
    pageUp = 15,
    pageDown = 16
  };
  enum Modifier { shift = 1, alt = 2, command = 4, control = 8 };

  int32_t character = 0; ///< 0 where the key has none
  int64_t code = 0;      ///< one of Code for keys without a character
  int modifiers = 0;     ///< bits
};

/// The instrument's editor within a window of the host's. Main thread; input and drawing have a
/// thread of their own while it is open.
class Editor {
public:
  virtual ~Editor() = default; ///< closes

  virtual const OrbRect* rect() = 0;   ///< in pixels; null where there is no window system
  virtual void open(void* parent) = 0; ///< the native window; the wish to open may fail silently
  virtual void close() = 0;
  virtual void idle() = 0;                        ///< costs next to nothing
  virtual bool keyDown(const EditorKey& key) = 0; ///< false: not used
  virtual bool
  wheel(double notches) = 0; ///< where the pointer was last, positive away from the user
};

/// The system's kind of editor. The instrument outlives it.
std::unique_ptr<Editor> makeEditor(Instrument& instrument);

} // namespace soundfont
