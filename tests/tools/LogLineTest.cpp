#include "tools/demo/LogLine.h"

#include <gtest/gtest.h>

namespace tavik::demo {
namespace {

using namespace std::chrono_literals;

// 2026-01-02 at the given time; the tests run in UTC.
WallTime onSecondOfJanuary(std::chrono::milliseconds ofDay) {
    return std::chrono::sys_days{std::chrono::January / 2 / 2026} + ofDay;
}

TEST(LogLine, HasItsTimeAndItsMessage) {
    const auto line = parseLogLine("[11:20:09.089] 👂 listening", onSecondOfJanuary(12h));
    ASSERT_TRUE(line);
    EXPECT_EQ(line->time, onSecondOfJanuary(11h + 20min + 9s + 89ms));
    EXPECT_EQ(line->message, "👂 listening");
}

TEST(LogLine, BelongsToTheDayThatIsNearest) {
    const auto before = parseLogLine("[23:59:59.900] late", onSecondOfJanuary(100ms));
    ASSERT_TRUE(before);
    EXPECT_EQ(before->time, onSecondOfJanuary(-100ms));
    const auto later = parseLogLine("[00:00:00.100] early", onSecondOfJanuary(24h - 1s));
    ASSERT_TRUE(later);
    EXPECT_EQ(later->time, onSecondOfJanuary(24h + 100ms));
}

TEST(LogLine, IsNotWhatOthersPrint) {
    for (const char* text : {"", "[", "ERROR: x", "[11:20:09.089]", "[11:20:09 089] x", "[1] x",
                             "terminate called [11:20:09.089] x"})
        EXPECT_FALSE(parseLogLine(text, onSecondOfJanuary(12h))) << text;
}

} // namespace
} // namespace tavik::demo
