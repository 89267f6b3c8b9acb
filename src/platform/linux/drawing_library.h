#pragma once

#include "platform/linux/system_library.h"

#include <cairo-xcb.h>
#include <cairo.h>
#include <pango/pangocairo.h>

#include <string>

namespace orbi::platform {

// clang-format off
#define ORBI_CAIRO_FUNCTIONS(use)                                                                  \
  use(cairo_arc)                            use(cairo_clip)                                        \
  use(cairo_clip_extents)                   use(cairo_close_path)                                  \
  use(cairo_create)                         use(cairo_destroy)                                     \
  use(cairo_device_destroy)                 use(cairo_device_finish)                               \
  use(cairo_device_reference)               use(cairo_fill)                                        \
  use(cairo_font_options_create)            use(cairo_font_options_destroy)                        \
  use(cairo_font_options_set_antialias)     use(cairo_font_options_set_hint_metrics)               \
  use(cairo_font_options_set_hint_style)    use(cairo_get_matrix)                                    \
  use(cairo_get_source)                     use(cairo_identity_matrix)                               \
  use(cairo_image_surface_create)           use(cairo_mask_surface)                                  \
  use(cairo_set_matrix)                                                                              \
  use(cairo_image_surface_create_for_data)  use(cairo_image_surface_create_from_png)               \
  use(cairo_image_surface_get_height)       use(cairo_image_surface_get_width)                     \
  use(cairo_line_to)                        use(cairo_move_to)                                     \
  use(cairo_new_path)                       use(cairo_new_sub_path)                                \
  use(cairo_paint)                          use(cairo_paint_with_alpha)                            \
  use(cairo_pattern_add_color_stop_rgba)    use(cairo_pattern_create_linear)                       \
  use(cairo_pattern_destroy)                use(cairo_pattern_set_extend)                          \
  use(cairo_pattern_set_filter)             use(cairo_rectangle)                                   \
  use(cairo_region_create)                  use(cairo_region_destroy)                              \
  use(cairo_region_get_extents)             use(cairo_region_get_rectangle)                        \
  use(cairo_region_intersect_rectangle)     use(cairo_region_is_empty)                             \
  use(cairo_region_num_rectangles)          use(cairo_region_union_rectangle)                      \
  use(cairo_restore)                        use(cairo_save)                                        \
  use(cairo_scale)                          use(cairo_set_line_cap)                                \
  use(cairo_set_line_join)                  use(cairo_set_line_width)                              \
  use(cairo_set_operator)                   use(cairo_set_source)                                  \
  use(cairo_set_source_rgba)                use(cairo_set_source_surface)                          \
  use(cairo_stroke)                                                                                \
  use(cairo_surface_create_for_rectangle)   use(cairo_surface_destroy)                             \
  use(cairo_surface_finish)                 use(cairo_surface_get_device)                          \
  use(cairo_surface_status)                 use(cairo_surface_write_to_png)                        \
  use(cairo_translate)                      use(cairo_xcb_surface_create)

#define ORBI_PANGO_FUNCTIONS(use)                                                                  \
  use(pango_context_get_metrics)            use(pango_font_description_free)                       \
  use(pango_font_description_new)           use(pango_font_description_set_absolute_size)          \
  use(pango_font_description_set_family)    use(pango_font_description_set_style)                  \
  use(pango_font_description_set_weight)    use(pango_font_map_create_context)                     \
  use(pango_font_metrics_get_ascent)        use(pango_font_metrics_get_descent)                    \
  use(pango_font_metrics_unref)             use(pango_layout_get_extents)                          \
  use(pango_layout_index_to_pos)            use(pango_layout_new)                                  \
  use(pango_layout_set_alignment)           use(pango_layout_set_ellipsize)                        \
  use(pango_layout_set_font_description)    use(pango_layout_set_height)                           \
  use(pango_layout_set_text)                                                                        \
  use(pango_layout_set_width)               use(pango_layout_set_wrap)                             \
  use(pango_layout_xy_to_index)

#define ORBI_PANGOCAIRO_FUNCTIONS(use)                                                             \
  use(pango_cairo_context_set_font_options) use(pango_cairo_context_set_resolution)                \
  use(pango_cairo_font_map_new)             use(pango_cairo_show_layout)

#define ORBI_GOBJECT_FUNCTIONS(use) use(g_object_unref)
// clang-format on

/// cairo for shapes and pictures, Pango for text, whose functions keep their names as members.
struct DrawingLibrary {
  bool load(std::string& error); ///< false, with a line that names what is missing

#define ORBI_DRAWING_MEMBER(name) decltype(&::name) name = nullptr;
  ORBI_CAIRO_FUNCTIONS(ORBI_DRAWING_MEMBER)
  ORBI_PANGO_FUNCTIONS(ORBI_DRAWING_MEMBER)
  ORBI_PANGOCAIRO_FUNCTIONS(ORBI_DRAWING_MEMBER)
  ORBI_GOBJECT_FUNCTIONS(ORBI_DRAWING_MEMBER)
#undef ORBI_DRAWING_MEMBER

private:
  SystemLibrary cairo_, pango_, pangoCairo_, gobject_;
};

} // namespace orbi::platform
