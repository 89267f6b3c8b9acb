#pragma once

#include <filesystem>
#include <string>

namespace orbi::platform {

/// A dynamic library in use. Its code may run, and fault, already while it is loaded or closed.
class Module {
public:
  /// Resolves everything at once, so a module that lacks something fails here and not in the middle
  /// of a block. An empty module on failure, with the system's words in `error`.
  static Module load(const std::filesystem::path& path, std::string& error);

  Module() = default;
  ~Module() { close(); }
  Module(Module&& other) noexcept : handle_(other.handle_) { other.handle_ = nullptr; }
  Module& operator=(Module&& other) noexcept;

  explicit operator bool() const { return handle_ != nullptr; }
  void* symbol(const char* name) const; ///< null when the module doesn't export it
  void close();                         ///< no pointer into the module may be used afterwards
  void abandon() { handle_ = nullptr; } ///< stays loaded to the end, for code that may still run

  template <typename Function>
  Function* function(const char* name) const
  {
    return reinterpret_cast<Function*>(symbol(name));
  }

private:
  void* handle_ = nullptr;
};

} // namespace orbi::platform
