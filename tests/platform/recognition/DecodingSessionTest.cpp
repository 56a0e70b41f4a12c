#include "platform/recognition/DecodingSession.h"

#include "platform/concurrency/Cancelled.h"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace tavik {
namespace {

using testing::ElementsAre;

constexpr float infinite = std::numeric_limits<float>::infinity();

TEST(DecodingSession, ClipsSamplesAndTakesNonsenseForSilence) {
    DecodingSession session(16000);
    session.feed(std::vector<float>{0, 1, -1, 0.5F, 40, -40, infinite, -infinite, std::nanf("")});
    session.endInput();
    std::vector<std::int16_t> piece;
    ASSERT_TRUE(session.nextPiece(100, piece, {}));
    EXPECT_THAT(piece, ElementsAre(0, 32767, -32767, 16384, 32767, -32767, 0, 0, 0));
    ASSERT_TRUE(session.nextPiece(100, piece, {}));
    EXPECT_TRUE(piece.empty()) << "the end";
}

TEST(DecodingSession, KeepsAsMuchAsTheDecoderMayBeBehind) {
    constexpr std::uint32_t rate = 100;
    DecodingSession session(rate);
    for (int second = 0; second < 200; ++second)
        session.feed(std::vector<float>(rate, 0.5F));
    session.endInput();
    std::vector<std::int16_t> piece;
    std::size_t total = 0;
    while (session.nextPiece(64, piece, {}) && !piece.empty())
        total += piece.size();
    EXPECT_EQ(total, 130U * rate);
}

TEST(DecodingSession, DropsNothingOfAnEndlessUtteranceThatIsKeptUpWith) {
    constexpr std::uint32_t rate = 100;
    DecodingSession session(rate);
    std::vector<std::int16_t> piece;
    session.feed(std::vector<float>(7)); // so that it is never drained to the end
    for (int second = 0; second < 400; ++second) {
        session.feed(std::vector<float>(rate, 0.5F));
        ASSERT_TRUE(session.nextPiece(rate, piece, {}));
        ASSERT_EQ(piece.size(), rate) << "in second " << second;
    }
}

TEST(DecodingSession, WhoWaitsIsWokenByTheOtherSide) {
    DecodingSession session(16000);
    std::vector<std::int16_t> piece;
    std::jthread decoder([&] {
        while (session.nextPiece(1600, piece, {}) && !piece.empty()) {
        }
        session.setText("done");
    });
    session.feed(std::vector<float>(5000));
    session.endInput();
    EXPECT_EQ(session.awaitText({}), "done");

    DecodingSession left(16000);
    std::jthread abandoned([&] { EXPECT_FALSE(left.nextPiece(1600, piece, {})); });
    left.abandon();
}

} // namespace
} // namespace tavik
