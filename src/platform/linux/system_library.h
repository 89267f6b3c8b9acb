#pragma once

#include <dlfcn.h>

namespace orbi::platform {

/// A library of the system, found where the loader looks for such, and loaded when it is first
/// needed. Stays to the end: libraries of this kind have threads and data that outlive their use.
class SystemLibrary {
public:
  bool load(const char* name) ///< the name with its version; true at once when it is loaded already
  {
    if (handle_ == nullptr)
      handle_ = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    return handle_ != nullptr;
  }

  /// False, and null, when the library doesn't have it.
  template <typename Function>
  bool find(Function*& function, const char* name) const
  {
    function = reinterpret_cast<Function*>(dlsym(handle_, name));
    return function != nullptr;
  }

private:
  void* handle_ = nullptr;
};

} // namespace orbi::platform
