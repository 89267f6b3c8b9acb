#pragma once

#include <string>

namespace orbi::platform {

/// Shows a page in the user's browser, which goes on by itself. False when it can't be started.
bool openUrl(const std::string& url);

} // namespace orbi::platform
