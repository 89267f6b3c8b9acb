#pragma once

#include <string>

namespace orbi::platform {

/// Sets a variable for this process and the modules it loads. Main thread, before other threads
/// run.
void setEnvironment(const std::string& name, const std::string& value);

bool errorOutputIsTerminal(); ///< whether somebody watches standard error

} // namespace orbi::platform
