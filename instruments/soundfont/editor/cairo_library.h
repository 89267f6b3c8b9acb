#pragma once

#include "soundfont/editor/system_library.h"

#include <cairo.h>

namespace soundfont {

#define SOUNDFONT_CAIRO_FUNCTIONS(use)                                                             \
  use(cairo_arc) use(cairo_clip) use(cairo_close_path) use(cairo_create) use(cairo_destroy)        \
      use(cairo_fill) use(cairo_font_options_create) use(cairo_font_options_destroy)               \
          use(cairo_font_options_set_antialias) use(cairo_font_options_set_hint_metrics)           \
              use(cairo_font_options_set_hint_style) use(cairo_image_surface_create)               \
                  use(cairo_image_surface_get_data) use(cairo_image_surface_get_stride)            \
                      use(cairo_line_to) use(cairo_move_to) use(cairo_new_path)                    \
                          use(cairo_pattern_add_color_stop_rgba) use(cairo_pattern_create_linear)  \
                              use(cairo_pattern_destroy) use(cairo_rectangle) use(cairo_restore)   \
                                  use(cairo_save) use(cairo_scale) use(cairo_select_font_face)     \
                                      use(cairo_set_font_options) use(cairo_set_font_size)         \
                                          use(cairo_set_line_cap) use(cairo_set_line_width)        \
                                              use(cairo_set_source) use(cairo_set_source_rgba)     \
                                                  use(cairo_show_text) use(cairo_status)           \
                                                      use(cairo_stroke) use(cairo_surface_destroy) \
                                                          use(cairo_surface_flush)                 \
                                                              use(cairo_surface_status)            \
                                                                  use(cairo_text_extents)

/// The drawing library, whose functions keep their names as members.
struct CairoLibrary {
  static const CairoLibrary* get(); ///< loaded at the first call; null when it isn't installed

#define SOUNDFONT_CAIRO_MEMBER(name) decltype(&::name) name = nullptr;
  SOUNDFONT_CAIRO_FUNCTIONS(SOUNDFONT_CAIRO_MEMBER)
#undef SOUNDFONT_CAIRO_MEMBER
};

} // namespace soundfont
