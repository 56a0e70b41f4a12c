#include "tools/demo/LogLine.h"

#include <cstdio>
#include <ctime>

namespace tavik::demo {

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

constexpr std::size_t stampLength = 14; // "[HH:MM:SS.mmm]"

std::optional<milliseconds> timeOfDay(std::string_view stamp) {
    int hour = 0;
    int minute = 0;
    int second = 0;
    int thousandths = 0;
    char bracket = 0;
    if (std::sscanf(std::string(stamp).c_str(), "[%2d:%2d:%2d.%3d%c", &hour, &minute, &second,
                    &thousandths, &bracket) != 5 ||
        bracket != ']')
        return std::nullopt;
    return milliseconds(((hour * 60 + minute) * 60 + second) * 1000 + thousandths);
}

WallTime midnightBefore(WallTime time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    local.tm_hour = local.tm_min = local.tm_sec = 0;
    return std::chrono::system_clock::from_time_t(std::mktime(&local));
}

} // namespace

std::optional<LogLine> parseLogLine(std::string_view line, WallTime about) {
    const auto ofDay = timeOfDay(line.substr(0, stampLength));
    if (!ofDay || line.size() <= stampLength)
        return std::nullopt;
    WallTime time = midnightBefore(about) + *ofDay;
    if (time > about + hours(12))
        time -= hours(24);
    else if (time < about - hours(12))
        time += hours(24);
    return LogLine{time, std::string(line.substr(stampLength + 1))};
}

} // namespace tavik::demo
