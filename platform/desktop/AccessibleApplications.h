#pragma once

#include "platform/desktop/RunningProgram.h"

#include <chrono>
#include <stop_token>
#include <vector>

namespace tavik {

// An application as it shows itself to assistive programs.
struct AccessibleApplication {
    RunningProgram program; // its class is the name that it gives itself
    bool hasWindow = false;
    bool isActive = false; // one of its windows has the keyboard
};

// The applications on the accessibility bus, in the order in which they came to it; none when
// accessibility is switched off, which it stays. An application that does not answer by `deadline`
// is left out. Blocks longer only when the bus itself does not answer, until `stop` is requested.
std::vector<AccessibleApplication>
accessibleApplications(std::chrono::steady_clock::time_point deadline, const std::stop_token& stop);

} // namespace tavik
