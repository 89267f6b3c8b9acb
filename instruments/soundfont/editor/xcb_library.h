#pragma once

#include "soundfont/editor/system_library.h"

#include <xcb/xcb.h>

namespace soundfont {

#define SOUNDFONT_XCB_FUNCTIONS(use)                                                               \
  use(xcb_change_property) use(xcb_change_window_attributes_checked) use(xcb_connect)              \
      use(xcb_connection_has_error) use(xcb_convert_selection) use(xcb_create_colormap)            \
          use(xcb_create_gc) use(xcb_create_window_checked) use(xcb_delete_property)               \
              use(xcb_depth_next) use(xcb_depth_visuals_iterator) use(xcb_disconnect)              \
                  use(xcb_flush) use(xcb_generate_id) use(xcb_get_file_descriptor)                 \
                      use(xcb_get_maximum_request_length) use(xcb_get_property)                    \
                          use(xcb_get_property_reply) use(xcb_get_property_value)                  \
                              use(xcb_get_property_value_length) use(xcb_get_setup)                \
                                  use(xcb_intern_atom) use(xcb_intern_atom_reply)                  \
                                      use(xcb_map_window) use(xcb_poll_for_event)                  \
                                          use(xcb_poll_for_queued_event) use(xcb_put_image)        \
                                              use(xcb_query_tree) use(xcb_query_tree_reply)        \
                                                  use(xcb_request_check)                           \
                                                      use(xcb_screen_allowed_depths_iterator)      \
                                                          use(xcb_screen_next) use(xcb_send_event) \
                                                              use(xcb_setup_roots_iterator)        \
                                                                  use(xcb_visualtype_next)

/// The X11 client library, whose functions keep their names as members.
struct XcbLibrary {
  static const XcbLibrary* get(); ///< loaded at the first call; null when it isn't installed

#define SOUNDFONT_XCB_MEMBER(name) decltype(&::name) name = nullptr;
  SOUNDFONT_XCB_FUNCTIONS(SOUNDFONT_XCB_MEMBER)
#undef SOUNDFONT_XCB_MEMBER
};

} // namespace soundfont
