#pragma once

namespace tavik {

// Starts the installed program that this executable belongs to, on its own: without our
// descriptors, our session and our terminal. Does nothing when it is not installed, and nothing is
// said when it does not start: who waits for it sees that.
void launchTavikApp();

} // namespace tavik
