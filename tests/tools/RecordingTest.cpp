#include "tools/demo/Recorder.h"

#include <gtest/gtest.h>

namespace tavik::demo {
namespace {

using namespace std::chrono_literals;

// A second of sound at 1000 Hz whose blocks of 100 ms each arrived late by so much.
Recording arrivedLateBy(const std::vector<std::chrono::milliseconds>& delays) {
    Recording recording;
    recording.sound = {1000, std::vector<float>(delays.size() * 100)};
    std::size_t end = 0;
    for (const auto delay : delays) {
        end += 100;
        recording.arrived(end, WallTime{} + std::chrono::milliseconds(end) + delay);
    }
    return recording;
}

TEST(Recording, TakesTheTimeFromThePunctualBlocks) {
    const auto recording = arrivedLateBy({300ms, 200ms, 250ms, 10ms, 500ms});
    EXPECT_EQ(recording.timeOf(0), WallTime{} + 10ms);
    EXPECT_EQ(recording.timeOf(350), WallTime{} + 360ms);
    EXPECT_EQ(recording.timeOf(499), WallTime{} + 999ms);
}

// After a hole in the stream all that follows arrives late, and what came before it did not.
TEST(Recording, KeepsTheTimesBeforeAndAfterAHoleApart) {
    const auto recording = arrivedLateBy({0ms, 0ms, 700ms, 700ms, 700ms});
    EXPECT_EQ(recording.timeOf(150), WallTime{} + 150ms);
    EXPECT_EQ(recording.timeOf(250), WallTime{} + 950ms);
}

TEST(Recording, FindsTheSampleOfATime) {
    const auto recording = arrivedLateBy({0ms, 0ms, 700ms, 700ms, 700ms});
    EXPECT_EQ(recording.sampleAt(WallTime{} - 1s), 0U);
    EXPECT_EQ(recording.sampleAt(WallTime{} + 150ms), 150U);
    EXPECT_EQ(recording.sampleAt(WallTime{} + 500ms), 200U);
    EXPECT_EQ(recording.sampleAt(WallTime{} + 950ms), 250U);
    EXPECT_EQ(recording.sampleAt(WallTime{} + 1h), 500U);
}

} // namespace
} // namespace tavik::demo
