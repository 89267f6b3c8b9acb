#include "platform/environment.h"

#include <cstdlib>

#include <unistd.h>

namespace orbi::platform {

void setEnvironment(const std::string& name, const std::string& value)
{
  setenv(name.c_str(), value.c_str(), 1);
}

bool errorOutputIsTerminal()
{
  return isatty(STDERR_FILENO) == 1;
}

} // namespace orbi::platform
