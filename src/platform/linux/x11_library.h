#pragma once

#include "platform/linux/system_library.h"

#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xcb_cursor.h>
#define explicit explicit_ // the name of a member in there
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-compose.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <string>

namespace orbi::platform {

// clang-format off
#define ORBI_XCB_FUNCTIONS(use)                                                                    \
  use(xcb_change_property)                                                                         \
  use(xcb_change_window_attributes)      use(xcb_change_window_attributes_checked)                 \
  use(xcb_configure_window)              use(xcb_connect)                                          \
  use(xcb_connection_has_error)                                                                    \
  use(xcb_convert_selection)             use(xcb_create_colormap)                                  \
  use(xcb_create_cursor)                 use(xcb_create_gc)                                        \
  use(xcb_create_glyph_cursor)           use(xcb_create_pixmap)                                    \
  use(xcb_create_window)                 use(xcb_create_window_checked)                            \
  use(xcb_delete_property)               use(xcb_depth_next)                                       \
  use(xcb_destroy_window)                use(xcb_disconnect)                                       \
  use(xcb_flush)                         use(xcb_free_gc)                                          \
  use(xcb_free_pixmap)                   use(xcb_generate_id)                                      \
  use(xcb_get_extension_data)            use(xcb_get_file_descriptor)                              \
  use(xcb_get_geometry)                  use(xcb_get_geometry_reply)                               \
  use(xcb_get_input_focus)               use(xcb_get_input_focus_reply)                            \
  use(xcb_get_maximum_request_length)    use(xcb_get_property)                                     \
  use(xcb_get_property_reply)            use(xcb_get_property_value)                               \
  use(xcb_get_property_value_length)     use(xcb_get_setup)                                        \
  use(xcb_get_selection_owner)           use(xcb_get_selection_owner_reply)                        \
  use(xcb_get_window_attributes)         use(xcb_get_window_attributes_reply)                      \
  use(xcb_grab_keyboard)                 use(xcb_grab_keyboard_reply)                              \
  use(xcb_grab_pointer)                  use(xcb_grab_pointer_reply)                               \
  use(xcb_intern_atom)                   use(xcb_intern_atom_reply)                                \
  use(xcb_map_window)                    use(xcb_open_font)                                        \
  use(xcb_poll_for_event)                use(xcb_poll_for_queued_event)                            \
  use(xcb_query_pointer)                                                                           \
  use(xcb_query_pointer_reply)           use(xcb_query_tree)                                       \
  use(xcb_query_tree_reply)              use(xcb_request_check)                                    \
  use(xcb_screen_allowed_depths_iterator) use(xcb_screen_next)                                     \
  use(xcb_send_event)                    use(xcb_set_input_focus)                                  \
  use(xcb_set_selection_owner)           use(xcb_setup_roots_iterator)                             \
  use(xcb_translate_coordinates)         use(xcb_translate_coordinates_reply)                      \
  use(xcb_ungrab_keyboard)               use(xcb_ungrab_pointer)                                   \
  use(xcb_unmap_window)                  use(xcb_visualtype_next)                                  \
  use(xcb_depth_visuals_iterator)        use(xcb_poly_fill_rectangle)

#define ORBI_XCB_SHM_FUNCTIONS(use)                                                                \
  use(xcb_shm_id)                        use(xcb_shm_attach_fd_checked)                            \
  use(xcb_shm_detach)                    use(xcb_shm_put_image)                                    \
  use(xcb_shm_query_version)             use(xcb_shm_query_version_reply)

#define ORBI_XCB_RANDR_FUNCTIONS(use)                                                              \
  use(xcb_randr_id)                      use(xcb_randr_get_monitors)                               \
  use(xcb_randr_get_monitors_monitors_iterator) use(xcb_randr_get_monitors_reply)                  \
  use(xcb_randr_monitor_info_next)       use(xcb_randr_query_version)                              \
  use(xcb_randr_query_version_reply)     use(xcb_randr_select_input)

#define ORBI_XCB_XKB_FUNCTIONS(use)                                                                \
  use(xcb_xkb_per_client_flags)          use(xcb_xkb_per_client_flags_reply)                       \
  use(xcb_xkb_select_events)

#define ORBI_XKBCOMMON_FUNCTIONS(use)                                                              \
  use(xkb_compose_state_feed)            use(xkb_compose_state_get_status)                         \
  use(xkb_compose_state_get_utf8)        use(xkb_compose_state_new)                                \
  use(xkb_compose_state_reset)           use(xkb_compose_state_unref)                              \
  use(xkb_compose_table_new_from_locale) use(xkb_compose_table_unref)                              \
  use(xkb_context_new)                   use(xkb_context_unref)                                    \
  use(xkb_keymap_key_get_syms_by_level)  use(xkb_keymap_num_layouts_for_key)                       \
  use(xkb_keymap_unref)                  use(xkb_keysym_to_upper)                                  \
  use(xkb_keysym_to_utf32)                                                                         \
  use(xkb_state_key_get_layout)          use(xkb_state_key_get_one_sym)                            \
  use(xkb_state_key_get_utf8)            use(xkb_state_unref)                                      \
  use(xkb_state_update_mask)

#define ORBI_XKBCOMMON_X11_FUNCTIONS(use)                                                          \
  use(xkb_x11_get_core_keyboard_device_id) use(xkb_x11_keymap_new_from_device)                     \
  use(xkb_x11_setup_xkb_extension)       use(xkb_x11_state_new_from_device)

#define ORBI_XCB_CURSOR_FUNCTIONS(use)                                                             \
  use(xcb_cursor_context_free)           use(xcb_cursor_context_new)                               \
  use(xcb_cursor_load_cursor)
// clang-format on

/// The X Window System's libraries, whose functions keep their names as members.
struct X11Library {
  bool load(std::string& error); ///< false, with a line that names what is missing
  bool hasCursors() const { return xcb_cursor_load_cursor != nullptr; } ///< those of a theme

#define ORBI_X11_MEMBER(name) decltype(&::name) name = nullptr;
  ORBI_XCB_FUNCTIONS(ORBI_X11_MEMBER)
  ORBI_XCB_SHM_FUNCTIONS(ORBI_X11_MEMBER)
  ORBI_XCB_RANDR_FUNCTIONS(ORBI_X11_MEMBER)
  ORBI_XCB_XKB_FUNCTIONS(ORBI_X11_MEMBER)
  ORBI_XKBCOMMON_FUNCTIONS(ORBI_X11_MEMBER)
  ORBI_XKBCOMMON_X11_FUNCTIONS(ORBI_X11_MEMBER)
  ORBI_XCB_CURSOR_FUNCTIONS(ORBI_X11_MEMBER)
#undef ORBI_X11_MEMBER

private:
  SystemLibrary xcb_, shm_, randr_, xkb_, xkbcommon_, xkbcommonX11_, cursor_;
};

} // namespace orbi::platform
