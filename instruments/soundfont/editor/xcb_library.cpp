#include "soundfont/editor/xcb_library.h"

namespace soundfont {

const XcbLibrary* XcbLibrary::get()
{
  static XcbLibrary functions;
  static const bool complete = [] {
    const SystemLibrary library("libxcb.so.1");
    bool found = true;
#define SOUNDFONT_XCB_FIND(name) found = library.find(functions.name, #name) && found;
    SOUNDFONT_XCB_FUNCTIONS(SOUNDFONT_XCB_FIND)
#undef SOUNDFONT_XCB_FIND
    return found;
  }();
  return complete ? &functions : nullptr;
}

} // namespace soundfont
