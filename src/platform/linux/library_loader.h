#pragma once

#include "platform/linux/system_library.h"

#include <string>

namespace orbi::platform {

/// Loads libraries and finds their functions one by one, and keeps a line about the first that
/// isn't there.
class LibraryLoader {
public:
  explicit LibraryLoader(std::string& error) : error_(error) {}

  bool open(SystemLibrary& library, const char* name)
  {
    library_ = &library;
    return library.load(name) || failToOpen(name);
  }

  template <typename Function>
  bool find(Function*& function, const char* name) ///< in the one opened last
  {
    return library_->find(function, name) || failToFind(name);
  }

private:
  bool failToOpen(const char* name);
  bool failToFind(const char* name);

  std::string& error_;
  const SystemLibrary* library_ = nullptr;
};

} // namespace orbi::platform
