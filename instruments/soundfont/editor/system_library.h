#pragma once

#include <dlfcn.h>

namespace soundfont {

/// A library of the system that is loaded when it is first needed, and then stays: such libraries
/// have data that outlives their use.
class SystemLibrary {
public:
  explicit SystemLibrary(const char* name) : handle_(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

  /// False, and null, when the library or the function is missing.
  template <typename Function>
  bool find(Function*& function, const char* name) const
  {
    function = handle_ ? reinterpret_cast<Function*>(dlsym(handle_, name)) : nullptr;
    return function != nullptr;
  }

private:
  void* handle_;
};

} // namespace soundfont
