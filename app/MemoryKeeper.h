#pragma once

#include "platform/concurrency/BackgroundJobs.h"
#include "platform/concurrency/SerialQueue.h"

#include <functional>
#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

// Looks after the user's memory while the program runs: writes down what is said and sums up what
// has ended, and what earlier runs left over, all in the background. Destruction writes what is yet
// to be written, unless another process keeps it from that, and cancels a summary that is being
// made; the next start makes it.
class MemoryKeeper {
public:
    // `notify` gets a sentence for the user when something cannot be remembered, on any thread and
    // as long as the program runs.
    explicit MemoryKeeper(std::function<void(const std::string&)> notify);
    ~MemoryKeeper();
    MemoryKeeper(const MemoryKeeper&) = delete;
    MemoryKeeper& operator=(const MemoryKeeper&) = delete;

    // These return at once. From any thread.
    void remember(const std::string& sessionID, const std::string& role, const std::string& text);
    void conversationEnded(const std::string& sessionID);

private:
    void summarize(std::vector<std::string> sessions);

    std::stop_source ending;
    BackgroundJobs summaries{"ai.tavik.memory"};
    SerialQueue turns{"ai.tavik.turns"}; // last: its jobs use the above
};

} // namespace tavik
