#ifdef ORBI_HAVE_X11

#include "platform/linux/x11_library.h"

#include "platform/linux/library_loader.h"

namespace orbi::platform {

bool X11Library::load(std::string& error)
{
  LibraryLoader loader{error};
  // clang-format off
#define ORBI_X11_FIND(name) && loader.find(name, #name)
  const bool complete =
      loader.open(xcb_, "libxcb.so.1") ORBI_XCB_FUNCTIONS(ORBI_X11_FIND) &&
      loader.open(shm_, "libxcb-shm.so.0") ORBI_XCB_SHM_FUNCTIONS(ORBI_X11_FIND) &&
      loader.open(randr_, "libxcb-randr.so.0") ORBI_XCB_RANDR_FUNCTIONS(ORBI_X11_FIND) &&
      loader.open(xkb_, "libxcb-xkb.so.1") ORBI_XCB_XKB_FUNCTIONS(ORBI_X11_FIND) &&
      loader.open(xkbcommon_, "libxkbcommon.so.0") ORBI_XKBCOMMON_FUNCTIONS(ORBI_X11_FIND) &&
      loader.open(xkbcommonX11_, "libxkbcommon-x11.so.0") ORBI_XKBCOMMON_X11_FUNCTIONS(ORBI_X11_FIND);
  if (!complete)
    return false;
  // Without it the pointer has the plain shapes of the server's own font.
  std::string unused;
  LibraryLoader optional{unused};
#define ORBI_X11_TRY(name) && optional.find(name, #name)
  if (!(optional.open(cursor_, "libxcb-cursor.so.0") ORBI_XCB_CURSOR_FUNCTIONS(ORBI_X11_TRY)))
    xcb_cursor_load_cursor = nullptr;
#undef ORBI_X11_FIND
#undef ORBI_X11_TRY
  // clang-format on
  return true;
}

} // namespace orbi::platform

#endif
