#ifdef ORBI_HAVE_DRAWING

#include "platform/linux/drawing_library.h"

namespace orbi::platform {

bool DrawingLibrary::load(std::string& error)
{
  const SystemLibrary* from = nullptr;
  const auto open = [&](SystemLibrary& library, const char* name) {
    from = &library;
    if (library.load(name))
      return true;
    error = std::string("The library ") + name + " is missing.";
    return false;
  };
  const auto find = [&](auto& function, const char* name) {
    if (from->find(function, name))
      return true;
    error = std::string("The system's drawing libraries are too old: ") + name + " is missing.";
    return false;
  };
#define ORBI_DRAWING_FIND(name) &&find(name, #name)
  return open(cairo_, "libcairo.so.2") ORBI_CAIRO_FUNCTIONS(ORBI_DRAWING_FIND) &&
         open(pango_, "libpango-1.0.so.0") ORBI_PANGO_FUNCTIONS(ORBI_DRAWING_FIND) &&
         open(pangoCairo_, "libpangocairo-1.0.so.0") ORBI_PANGOCAIRO_FUNCTIONS(ORBI_DRAWING_FIND) &&
         open(gobject_, "libgobject-2.0.so.0") ORBI_GOBJECT_FUNCTIONS(ORBI_DRAWING_FIND);
#undef ORBI_DRAWING_FIND
}

} // namespace orbi::platform

#endif
