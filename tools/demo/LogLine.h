#pragma once

#include "tools/demo/WallTime.h"

#include <optional>
#include <string>
#include <string_view>

namespace tavik::demo {

// A line of tavik's log: "[HH:MM:SS.mmm] message", in local time.
struct LogLine {
    WallTime time;
    std::string message;
};

// Nothing when `line` is no line of the log. `about` tells the day: the line was written within
// half a day of it.
std::optional<LogLine> parseLogLine(std::string_view line, WallTime about);

} // namespace tavik::demo
