#include "memory/Recall.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <ctime>
#include <fmt/format.h>

namespace tavik {

namespace {

constexpr int longestReach = 100 * 366; // days

std::string counted(long long count, const char* unit) {
    return fmt::format("{} {}{} ago", count, unit, count == 1 ? "" : "s");
}

std::string ageText(WallTime::duration age) {
    const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(age).count();
    if (minutes < 1)
        return "moments ago";
    return minutes > 59 ? counted(minutes / 60, "hour") : counted(minutes, "minute");
}

} // namespace

std::string recapText(const std::string& summary, WallTime::duration age) {
    return fmt::format("[Recent memory — your last conversation with the user ended {}: {}]",
                       ageText(age), summary);
}

std::string historyLines(const std::vector<ConversationHistoryEntry>& entries) {
    std::vector<std::string> lines;
    lines.reserve(entries.size());
    for (const ConversationHistoryEntry& entry : entries)
        lines.push_back(mediumDateShortTime(entry.endedAt) + ": " + entry.summary);
    return joined(lines, "\n");
}

WallTime daysBefore(WallTime now, int days) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&seconds, &local);
    local.tm_mday -= std::clamp(days, -longestReach, longestReach);
    local.tm_isdst = -1; // to be found out for that day
    return std::chrono::system_clock::from_time_t(std::mktime(&local));
}

} // namespace tavik
