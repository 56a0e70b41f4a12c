#pragma once

#include <stop_token>

namespace tavik {

// Whether the session's own display is Wayland's, be there an X server beside it or not.
bool isWaylandSession();

// What the X server of the session offers, found out in two seconds at most; false without one.

// Whether it takes our windows. Throws Cancelled.
bool xServerAnswers(std::stop_token stop);
// Whether a compositing manager shows translucent windows.
bool xCompositorRuns();
// Whether a tray takes icons of the old kind, which are embedded windows.
bool xTrayRuns();

} // namespace tavik
