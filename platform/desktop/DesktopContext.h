#pragma once

#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

// What the user has in front of them.
struct DesktopContext {
    std::string frontmostApplication;          // its name for people; "unknown" when there is none
    std::vector<std::string> openApplications; // windowed ones, by name, each once, in the order
                                               // in which they were opened
};

// Takes 150 ms at most and never fails, but throws Cancelled when it is stopped: what cannot be
// found out by then is "unknown" or missing. Under X11 the window manager knows; under Wayland the
// accessibility bus does, where it is in use, and X11's own windows are added. Safe from any
// thread.
DesktopContext readDesktopContext(std::stop_token stop = {});

// Reads ahead, on another thread, what the first reading would have to wait for.
void prepareDesktopContext();

} // namespace tavik
