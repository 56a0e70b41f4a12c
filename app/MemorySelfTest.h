#pragma once

#include <stop_token>

namespace tavik {

// Records a conversation in the user's own memory, sums it up, recalls it and searches for it, and
// logs what came of each. The conversation is left there. Throws Cancelled.
void runMemorySelfTest(std::stop_token stop);

} // namespace tavik
