#pragma once

#include <string>
#include <vector>

namespace tavik {

// What the user has in front of them.
struct DesktopContext {
    std::string frontmostApplication;          // its name for people; "unknown" when there is none
    std::vector<std::string> openApplications; // windowed ones, by name, in the desktop's order
};

// Never fails: what cannot be found out is "unknown" or missing. Safe from any thread.
DesktopContext readDesktopContext();

} // namespace tavik
