#include "platform/linux/library_loader.h"

namespace orbi::platform {

bool LibraryLoader::failToOpen(const char* name)
{
  error_ = "The library ";
  error_ += name;
  error_ += " is missing.";
  return false;
}

bool LibraryLoader::failToFind(const char* name)
{
  error_ = "A library of the system is too old, it lacks ";
  error_ += name;
  error_ += '.';
  return false;
}

} // namespace orbi::platform
