#include "tools/demo/Sound.h"

#include "tools/stand-ins/services/TemporaryFolder.h"

#include <cmath>
#include <gtest/gtest.h>
#include <sndfile.h>

namespace tavik::demo {
namespace {

constexpr std::uint32_t rate = 8000;

// Pieces of silence and of a tone, in turn, each so many seconds long.
Sound pieces(const std::vector<double>& seconds, float level = 0.5F) {
    Sound sound{rate, {}};
    for (std::size_t i = 0; i < seconds.size(); ++i)
        for (int n = 0; n < std::lround(seconds[i] * rate); ++n)
            sound.samples.push_back(i % 2 == 0 ? 0
                                               : level * std::sin(0.7F * static_cast<float>(n)));
    return sound;
}

TEST(Sound, KnowsWhereItIsLoud) {
    for (const float level : {0.01F, 0.5F}) {
        const Sound sound = pieces({0.3, 0.2, 0.5, 0.1, 0.4}, level);
        const auto part = loudPart(sound.samples, rate);
        ASSERT_TRUE(part);
        EXPECT_NEAR(static_cast<double>(part->begin) / rate, 0.3, 0.011);
        EXPECT_NEAR(static_cast<double>(part->end) / rate, 1.1, 0.011);
    }
}

TEST(Sound, IsNowhereLoudWhenItIsSilent) {
    EXPECT_FALSE(loudPart({}, rate));
    EXPECT_FALSE(loudPart(pieces({1}).samples, rate));
    EXPECT_FALSE(loudPart(pieces({0, 1}, 0.0001F).samples, rate));
}

TEST(Sound, PausesWhereSpeechGoesOn) {
    const auto pause = firstPause(pieces({0.5, 0.2, 0.1, 0.2, 0.6, 0.2, 0.9}), 0.25);
    ASSERT_TRUE(pause);
    EXPECT_NEAR(static_cast<double>(*pause) / rate, 1.0, 0.011);
    EXPECT_FALSE(firstPause(pieces({0.5, 0.2, 0.1, 0.2, 0.9}), 0.25));
    EXPECT_FALSE(firstPause(pieces({0.5}), 0.25));
}

TEST(Sound, IsReadFromAFileOfAnyRateAndChannels) {
    const TemporaryFolder folder;
    SF_INFO info{};
    info.samplerate = 11025;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(folder.file("stereo.wav").c_str(), SFM_WRITE, &info);
    const float frames[] = {0.5F, 0.25F, -1, 0};
    sf_writef_float(file, frames, 2);
    sf_close(file);

    const Sound sound = readSound(folder.file("stereo.wav"));
    EXPECT_EQ(sound.rate, 11025U);
    EXPECT_EQ(sound.samples, (std::vector<float>{0.375F, -0.5F}));
}

TEST(Sound, IsRefusedWhenTheFileHoldsNone) {
    const TemporaryFolder folder;
    writeFile(folder.file("text.wav"), "not a sound");
    EXPECT_THROW(readSound(folder.file("text.wav")), std::runtime_error);
    EXPECT_THROW(readSound(folder.file("missing.wav")), std::runtime_error);
    EXPECT_THROW(writeSound(folder.file("no/such/folder.wav"), pieces({1})), std::runtime_error);
}

TEST(Sound, KeepsItsLengthWhenResampled) {
    const Sound sound = resampled(pieces({0.1, 1, 0.1}), 16000);
    const auto part = loudPart(sound.samples, sound.rate);
    ASSERT_TRUE(part);
    EXPECT_NEAR(static_cast<double>(part->begin) / sound.rate, 0.1, 0.02);
    EXPECT_NEAR(static_cast<double>(part->end) / sound.rate, 1.1, 0.02);
}

} // namespace
} // namespace tavik::demo
