#include "tools/demo/Program.h"

#include "platform/concurrency/Clock.h"
#include "tools/demo/Failure.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>

namespace tavik::demo {

namespace {

using namespace std::chrono_literals;
using std::chrono::system_clock;

constexpr auto poll = 20ms;
constexpr auto endPatience = 5s;
constexpr std::string_view errorReport = "[tavik] ⚠ ";

bool beginsWithAny(const std::string& text, const std::vector<std::string_view>& beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&](std::string_view beginning) { return text.starts_with(beginning); });
}

} // namespace

Program::Program(const std::string& path, const std::string& output)
    : outputPath(output)
    , process({.arguments = {path}, .environment = {}, .outputPath = output, .input = ""}) {}

std::optional<LogLine> Program::await(const std::vector<std::string_view>& beginnings,
                                      WallTime deadline, std::stop_token stop) {
    while (true) {
        const bool isRunning = process.isRunning();
        readOutput();
        if (auto match = nextMatch(beginnings))
            return match;
        if (!isRunning)
            throw Failure(ExitStatus::notReady, "tavik ended by itself." + lastWords());
        if (system_clock::now() >= deadline)
            return std::nullopt;
        systemClock().sleepFor(poll, stop);
    }
}

std::optional<LogLine> Program::nextMatch(const std::vector<std::string_view>& beginnings) {
    while (awaited < log.size()) {
        const LogLine& line = log[awaited++];
        if (beginsWithAny(line.message, beginnings))
            return line;
        if (line.message.starts_with(errorReport))
            throw Failure(ExitStatus::notReady,
                          "tavik reports: " + line.message.substr(errorReport.size()));
    }
    return std::nullopt;
}

const std::vector<LogLine>& Program::lines() {
    readOutput();
    return log;
}

void Program::readOutput() {
    std::ifstream output(outputPath, std::ios::binary);
    output.seekg(static_cast<std::streamoff>(bytesRead));
    std::string line;
    // A line without its end is still being written.
    while (std::getline(output, line) && !output.eof()) {
        bytesRead += line.size() + 1;
        lastLine = line;
        if (auto parsed = parseLogLine(line, system_clock::now()))
            log.push_back(std::move(*parsed));
    }
}

std::string Program::lastWords() const {
    return lastLine.empty() ? " It printed nothing." : " Its last words: " + lastLine;
}

void Program::end() {
    askedToEnd = system_clock::now();
    const int status = process.terminate(endPatience);
    ended = system_clock::now();
    readOutput();
    if (ended - askedToEnd >= endPatience)
        throw Failure(ExitStatus::uncleanEnd, "tavik did not end when asked to.");
    if (status != 0)
        throw Failure(
            ExitStatus::uncleanEnd,
            fmt::format("tavik ended with status {} instead of 0.{}", status, lastWords()));
}

} // namespace tavik::demo
