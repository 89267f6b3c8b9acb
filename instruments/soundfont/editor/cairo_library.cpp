#include "soundfont/editor/cairo_library.h"

namespace soundfont {

const CairoLibrary* CairoLibrary::get()
{
  static CairoLibrary functions;
  static const bool complete = [] {
    const SystemLibrary library("libcairo.so.2");
    bool found = true;
#define SOUNDFONT_CAIRO_FIND(name) found = library.find(functions.name, #name) && found;
    SOUNDFONT_CAIRO_FUNCTIONS(SOUNDFONT_CAIRO_FIND)
#undef SOUNDFONT_CAIRO_FIND
    return found;
  }();
  return complete ? &functions : nullptr;
}

} // namespace soundfont
