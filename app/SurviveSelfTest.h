#pragma once

namespace tavik {

// "--selftest-survive": boots without listening and quits after a minute. That the log then lacks
// the line that says PASS is the sign of a failure. Blocks; belongs to the main thread.
void runSurviveSelfTest();

} // namespace tavik
