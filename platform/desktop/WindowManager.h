#pragma once

#include "platform/desktop/RunningProgram.h"
#include "platform/desktop/XConnection.h"

#include <functional>

namespace tavik {

// A window of the desktop as its window manager shows it.
struct DesktopWindow {
    xcb_window_t id = XCB_NONE;
    RunningProgram program;
    bool isOrdinary = true; // one of those that people switch between: no panel, no tooltip
};

// The windows of a display by the conventions between window managers and others (Extended Window
// Manager Hints 1.5). Asks the server only, so a program that hangs is no matter; a window that
// vanishes while it is asked for has no properties. Private to this folder.
class WindowManager {
public:
    // `display` outlives this.
    explicit WindowManager(XConnection& display)
        : x(display) {}

    // Whether there is one now. What is left over from an earlier one does not count.
    bool isRunning();

    // In the order in which they were opened, and from the front to the back; not more than a few
    // hundred.
    std::vector<DesktopWindow> windows();
    std::vector<DesktopWindow> windowsFromFront();
    // None when no window is in use.
    std::optional<DesktopWindow> activeWindow();

    // Asks for `window` to be brought to the front, as a user does, and waits until a window that
    // is meant is active. False when it is not in time.
    bool activate(const DesktopWindow& window,
                  const std::function<bool(const DesktopWindow&)>& isMeant,
                  XConnection::Instant deadline);

private:
    std::vector<DesktopWindow> listed(const char* property);
    DesktopWindow described(xcb_window_t window);
    bool isOrdinary(const std::vector<std::uint32_t>& types,
                    const std::vector<std::uint32_t>& states);
    void askToActivate(xcb_window_t window);

    XConnection& x;
};

} // namespace tavik
