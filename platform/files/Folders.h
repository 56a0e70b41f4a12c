#pragma once

#include <string>
#include <system_error>

namespace tavik {

// Creates `folder` and its missing parents, each new one with mode 0700. `error` tells of a
// failure.
void createPrivateFolders(const std::string& folder, std::error_code& error);

} // namespace tavik
