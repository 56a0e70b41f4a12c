#pragma once

namespace tavik {

// What the X server of the session offers, found out in two seconds at most; false without one.

// Whether it takes our windows.
bool xServerAnswers();
// Whether a compositing manager shows translucent windows.
bool xCompositorRuns();
// Whether a tray takes icons of the old kind, which are embedded windows.
bool xTrayRuns();

} // namespace tavik
