#pragma once

#include "platform/concurrency/BackgroundJobs.h"

#include <string>

namespace tavik {

// Looks after the user's memory while the program runs: sums up what ended, in the background, and
// what earlier runs left over. Destruction cancels a summary that is being made; the next start
// makes it.
class MemoryKeeper {
public:
    MemoryKeeper();

    // These return at once, but for the write of a turn. From any thread.
    void remember(const std::string& sessionID, const std::string& role, const std::string& text);
    void conversationEnded(const std::string& sessionID);

private:
    BackgroundJobs jobs{"ai.tavik.memory"};
};

} // namespace tavik
