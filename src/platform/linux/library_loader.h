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
    return library.load(name) || fail(std::string("The library ") + name + " is missing.");
  }

  template <typename Function>
  bool find(Function*& function, const char* name) ///< in the one opened last
  {
    return library_->find(function, name) ||
           fail(std::string("A library of the system is too old, it lacks ") + name + '.');
  }

private:
  bool fail(std::string line)
  {
    error_ = std::move(line);
    return false;
  }

  std::string& error_;
  const SystemLibrary* library_ = nullptr;
};

} // namespace orbi::platform
