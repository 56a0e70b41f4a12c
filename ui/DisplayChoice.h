#pragma once

namespace tavik {

// Whether there is a display for our windows, and Qt has what it takes to use it; Qt would end the
// program otherwise. X11 is preferred where the session has it, also beside Wayland, since there
// the orb can stay above other windows and where the user put it. Tells Qt through its environment,
// so call it before the first use of Qt.
bool chooseDisplay();

} // namespace tavik
