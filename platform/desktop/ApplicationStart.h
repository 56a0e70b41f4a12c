#pragma once

#include <stop_token>
#include <string>

namespace tavik {

class LaunchedPrograms;

// Starts the application of a desktop entry as the entry says: over D-Bus, in a terminal or as a
// program. `address` is what it is to open, or empty. A program becomes one of `programs`, in a
// session of its own and with nothing of ours but the environment. Returns once the application has
// not failed for a moment. Throws LaunchError, and Cancelled when `stop` was requested before it
// was started; a stop request later on ends the look at it.
//
// May block for any time on a session bus that does not answer.
void startApplication(const std::string& entryPath, const std::string& address,
                      LaunchedPrograms& programs, std::stop_token stop);

} // namespace tavik
