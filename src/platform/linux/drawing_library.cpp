#ifdef ORBI_HAVE_DRAWING

#include "platform/linux/drawing_library.h"

#include "platform/linux/library_loader.h"

namespace orbi::platform {

bool DrawingLibrary::load(std::string& error)
{
  LibraryLoader loader{error};
  // clang-format off
#define ORBI_DRAWING_FIND(name) && loader.find(name, #name)
  return loader.open(cairo_, "libcairo.so.2") ORBI_CAIRO_FUNCTIONS(ORBI_DRAWING_FIND) &&
         loader.open(pango_, "libpango-1.0.so.0") ORBI_PANGO_FUNCTIONS(ORBI_DRAWING_FIND) &&
         loader.open(pangoCairo_, "libpangocairo-1.0.so.0") ORBI_PANGOCAIRO_FUNCTIONS(ORBI_DRAWING_FIND) &&
         loader.open(gobject_, "libgobject-2.0.so.0") ORBI_GOBJECT_FUNCTIONS(ORBI_DRAWING_FIND);
#undef ORBI_DRAWING_FIND
  // clang-format on
}

} // namespace orbi::platform

#endif
