#pragma once

#include "platform/canvas.h"
#include "platform/linux/drawing_library.h"

#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orbi::platform {

/// Texts set in a font, kept from one painting to the next as long as there is room. All measures
/// are the same at every scale, so what fits at one fits at all. Main thread.
class TextLayouts {
public:
  explicit TextLayouts(const DrawingLibrary& library);
  ~TextLayouts();
  TextLayouts(const TextLayouts&) = delete;
  TextLayouts& operator=(const TextLayouts&) = delete;

  /// How a text is broken and cut.
  struct Shape {
    double width = -1.0;  ///< units; below 0 it is as wide as it gets
    double height = -1.0; ///< where lines beyond it are dropped; below 0 none are
    Justify justify = Justify::left;
    bool wraps = false;
    bool ellipsis = false;
    friend bool operator==(const Shape&, const Shape&) = default;
  };

  struct Layout {
    PangoLayout* pango = nullptr; ///< valid until the next call of `find`
    double left = 0.0;            ///< units from the layout's origin to the text
    double width = 0.0;
    double height = 0.0;
  };

  /// The text may be anything; a very long one is cut.
  const Layout& find(std::string_view text, const Font& font, const Shape& shape);
  FontMetrics metrics(const Font& font);

private:
  struct Entry {
    std::string key;
    Layout layout;
  };
  struct Face {
    Font font;
    PangoFontDescription* description;
    FontMetrics metrics;
  };

  Face& face(const Font& font);
  Layout make(std::string_view text, const Font& font, const Shape& shape);
  void composeKey(std::string_view text, const Font& font, const Shape& shape);
  void dropOldest();

  const DrawingLibrary& library_;
  PangoFontMap* map_;
  PangoContext* context_;
  std::list<Entry> entries_; // the last used first
  // Keys lie in the entries.
  std::unordered_map<std::string_view, std::list<Entry>::iterator> places_;
  std::vector<Face> faces_;
  std::string key_; // kept, so that looking up doesn't allocate
};

} // namespace orbi::platform
