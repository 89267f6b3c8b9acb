#ifdef ORBI_HAVE_DRAWING

#include "platform/linux/text_layouts.h"

#include "platform/utf8_text.h"

#include <algorithm>
#include <cmath>

namespace orbi::platform {

namespace {

constexpr std::size_t mostLayouts = 700; // a window full of small texts and one of large ones
constexpr std::size_t mostFaces = 64;
constexpr std::size_t longestText = 16384; // bytes; nobody reads more in one piece
constexpr double largestMeasure = 1e6;     // units, far from where Pango's own would overflow
constexpr double largestFont = 2000.0;

int pangoUnits(double units)
{
  return static_cast<int>(std::lround(std::clamp(units, 0.0, largestMeasure) * PANGO_SCALE));
}

constexpr PangoAlignment alignments[] = {PANGO_ALIGN_LEFT, PANGO_ALIGN_CENTER, PANGO_ALIGN_RIGHT};

template <typename Value>
void append(std::string& key, const Value& value)
{
  key.append(reinterpret_cast<const char*>(&value), sizeof value);
}

} // namespace

TextLayouts::TextLayouts(const DrawingLibrary& library)
    : library_(library), map_(library.pango_cairo_font_map_new()),
      context_(library.pango_font_map_create_context(map_))
{
  library_.pango_cairo_context_set_resolution(context_, 96.0);
  cairo_font_options_t* options = library_.cairo_font_options_create();
  library_.cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  library_.cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
  // Rounded measures would differ from scale to scale.
  library_.cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  library_.pango_cairo_context_set_font_options(context_, options);
  library_.cairo_font_options_destroy(options);
}

TextLayouts::~TextLayouts()
{
  for (const Entry& entry : entries_)
    library_.g_object_unref(entry.layout.pango);
  for (const Face& each : faces_)
    library_.pango_font_description_free(each.description);
  library_.g_object_unref(context_);
  library_.g_object_unref(map_);
}

// ---- fonts --------------------------------------------------------------------------------------

TextLayouts::Face& TextLayouts::face(const Font& font)
{
  const auto known = std::find_if(faces_.begin(), faces_.end(),
                                  [&](const Face& each) { return each.font == font; });
  if (known != faces_.end())
    return *known;
  if (faces_.size() == mostFaces) {
    library_.pango_font_description_free(faces_.front().description);
    faces_.erase(faces_.begin());
  }
  PangoFontDescription* description = library_.pango_font_description_new();
  library_.pango_font_description_set_family(description, validUtf8(font.face).c_str());
  const double size = std::isfinite(font.size) ? std::clamp(font.size, 1.0, largestFont) : 12.0;
  library_.pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
  library_.pango_font_description_set_weight(description,
                                             font.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
  library_.pango_font_description_set_style(description,
                                            font.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  PangoFontMetrics* found = library_.pango_context_get_metrics(context_, description, nullptr);
  FontMetrics metrics;
  metrics.ascent = double(library_.pango_font_metrics_get_ascent(found)) / PANGO_SCALE;
  metrics.descent = double(library_.pango_font_metrics_get_descent(found)) / PANGO_SCALE;
  library_.pango_font_metrics_unref(found);
  return faces_.emplace_back(Face{font, description, metrics});
}

FontMetrics TextLayouts::metrics(const Font& font)
{
  return face(font).metrics;
}

// ---- layouts ------------------------------------------------------------------------------------

const TextLayouts::Layout& TextLayouts::find(std::string_view text, const Font& font,
                                             const Shape& shape)
{
  text = text.substr(0, longestText);
  composeKey(text, font, shape);
  if (const auto known = places_.find(key_); known != places_.end()) {
    entries_.splice(entries_.begin(), entries_, known->second);
    return entries_.front().layout;
  }
  if (entries_.size() == mostLayouts)
    dropOldest();
  entries_.push_front({key_, make(text, font, shape)});
  places_.emplace(entries_.front().key, entries_.begin());
  return entries_.front().layout;
}

void TextLayouts::composeKey(std::string_view text, const Font& font, const Shape& shape)
{
  key_.assign(text);
  append(key_, shape.width);
  append(key_, shape.height);
  append(key_, font.size);
  const auto bits = static_cast<unsigned>(shape.justify) << 4 | unsigned(shape.wraps) << 3 |
                    unsigned(shape.ellipsis) << 2 | unsigned(font.bold) << 1 |
                    unsigned(font.italic);
  key_ += static_cast<char>(bits);
  key_ += font.face;
  append(key_, text.size());
}

TextLayouts::Layout TextLayouts::make(std::string_view text, const Font& font, const Shape& shape)
{
  Layout result;
  result.pango = library_.pango_layout_new(context_);
  library_.pango_layout_set_font_description(result.pango, face(font).description);
  if (shape.width >= 0.0)
    library_.pango_layout_set_width(result.pango, pangoUnits(shape.width));
  library_.pango_layout_set_alignment(result.pango, alignments[static_cast<int>(shape.justify)]);
  library_.pango_layout_set_wrap(result.pango, PANGO_WRAP_WORD_CHAR);
  if (shape.ellipsis)
    library_.pango_layout_set_ellipsize(result.pango, PANGO_ELLIPSIZE_END);
  // Without a height each paragraph gets an ellipsis of its own, and is one line.
  if (shape.ellipsis && shape.wraps)
    library_.pango_layout_set_height(result.pango, std::max(pangoUnits(shape.height), 1));
  const std::string valid = validUtf8(text);
  library_.pango_layout_set_text(result.pango, valid.data(), static_cast<int>(valid.size()));

  PangoRectangle logical;
  library_.pango_layout_get_extents(result.pango, nullptr, &logical);
  result.left = double(logical.x) / PANGO_SCALE;
  result.width = double(logical.width) / PANGO_SCALE;
  result.height = double(logical.height) / PANGO_SCALE;
  return result;
}

void TextLayouts::dropOldest()
{
  library_.g_object_unref(entries_.back().layout.pango);
  places_.erase(entries_.back().key);
  entries_.pop_back();
}

} // namespace orbi::platform

#endif
