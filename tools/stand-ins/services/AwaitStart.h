#pragma once

#include "tools/stand-ins/services/ChildProcess.h"

#include <functional>
#include <string>

namespace tavik {

// Blocks until `isReady` says that the service which `process` runs has come up. Throws
// std::runtime_error, with what stands in the file `log`, when it ends before or ten seconds pass.
void awaitStart(const std::string& service, ChildProcess& process, const std::string& log,
                const std::function<bool()>& isReady);

} // namespace tavik
