#pragma once

#include "tools/demo/Program.h"

#include <stop_token>

namespace tavik::demo {

// Follows one conversation in tavik's log, stage by stage. Every call blocks until its stage is
// over and throws the Failure that tells why it never was, or Cancelled.
class ConversationWatch {
public:
    ConversationWatch(Program& watched, std::stop_token stopToken);

    void awaitReady();

    // To be called when the whole utterance has been played.
    void awaitCommand();

    enum class Model { scripted, live };
    void awaitAnswer(Model model);

    void awaitSpoken();

    // Until tavik waits for the wake phrase again. False when it was asked not to listen any more.
    bool awaitWaiting();

    // When they were logged.
    WallTime answered{};
    WallTime spoken{};

private:
    std::optional<LogLine> within(std::chrono::milliseconds patience,
                                  const std::vector<std::string_view>& beginnings);

    Program& program;
    std::stop_token stop;
    std::string ending; // the line of the log that followed the answer
};

} // namespace tavik::demo
