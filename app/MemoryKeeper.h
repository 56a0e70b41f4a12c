#pragma once

#include "platform/concurrency/SerialQueue.h"

#include <functional>
#include <stop_token>
#include <string>

namespace tavik {

// Looks after the user's memory while the program runs: sums up what ended, in the background, and
// what earlier runs left over. Destruction cancels a summary that is being made; the next start
// makes it.
class MemoryKeeper {
public:
    MemoryKeeper();
    ~MemoryKeeper();
    MemoryKeeper(const MemoryKeeper&) = delete;
    MemoryKeeper& operator=(const MemoryKeeper&) = delete;

    // These return at once, but for the write of a turn. From any thread.
    void remember(const std::string& sessionID, const std::string& role, const std::string& text);
    void conversationEnded(const std::string& sessionID);

private:
    void inBackground(std::function<void(std::stop_token)> work);

    std::stop_source ending;
    SerialQueue queue{"ai.tavik.memory"}; // last: its jobs look at the above
};

} // namespace tavik
