#include "platform/module.h"

#include <dlfcn.h>
#include <utility>

namespace orbi::platform {

Module Module::load(const std::filesystem::path& path, std::string& error)
{
  Module module;
  std::error_code failure;
  // Made absolute, since a bare name would be looked for in the system's library folders.
  const std::filesystem::path absolute = std::filesystem::absolute(path, failure);
  if (failure || path.empty()) {
    error = "no such file: '" + path.string() + "'";
    return module;
  }
  module.handle_ = dlopen(absolute.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module.handle_ == nullptr) {
    const char* words = dlerror();
    error = words != nullptr ? words : "cannot load '" + path.string() + "'";
  }
  return module;
}

Module& Module::operator=(Module&& other) noexcept
{
  if (this != &other) {
    close();
    handle_ = std::exchange(other.handle_, nullptr);
  }
  return *this;
}

void* Module::symbol(const char* name) const
{
  return handle_ != nullptr ? dlsym(handle_, name) : nullptr;
}

void Module::close()
{
  if (handle_ != nullptr)
    dlclose(std::exchange(handle_, nullptr));
}

} // namespace orbi::platform
