#pragma once

#include "tools/demo/LogLine.h"
#include "tools/stand-ins/services/ChildProcess.h"

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace tavik::demo {

// The tavik that is demonstrated, and what it prints. For the main thread.
class Program {
public:
    // Throws Failure (notReady).
    Program(const std::string& path, const std::string& outputPath);

    // The next line of the log, after the one that was awaited last, that begins with one of
    // `beginnings`; nothing when none comes before `deadline`. Throws Failure (notReady) when tavik
    // has died or reports an error, and Cancelled.
    std::optional<LogLine> await(const std::vector<std::string_view>& beginnings, WallTime deadline,
                                 std::stop_token stop);

    pid_t pid() const { return process.pid(); }

    // All that it has logged so far.
    const std::vector<LogLine>& lines();

    // Asks it to end, and notes when. Throws Failure (uncleanEnd) unless it exits with 0 in time.
    void end();
    WallTime askedToEnd{};
    WallTime ended{};

private:
    void readOutput();
    std::optional<LogLine> nextMatch(const std::vector<std::string_view>& beginnings);
    std::string lastWords() const;

    const std::string outputPath;
    ChildProcess process;
    std::size_t bytesRead = 0;
    std::vector<LogLine> log;
    std::string lastLine;
    std::size_t awaited = 0; // lines of the log looked at
};

} // namespace tavik::demo
