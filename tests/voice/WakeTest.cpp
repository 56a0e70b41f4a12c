#include "platform/defaults/UserDefaults.h"
#include "tests/voice/VoiceWorld.h"
#include "tools/stand-ins/services/TemporaryFolder.h"
#include "voice/SampleRing.h"
#include "voice/VoiceDetector.h"
#include "voice/WakeDetector.h"
#include "voice/WakeVerification.h"

#include <cmath>
#include <numeric>

using testing::ElementsAre;

namespace tavik {

namespace {

Clock::Instant at(int tenths) {
    return Clock::Instant(std::chrono::milliseconds(100 * tenths));
}

} // namespace

TEST(SampleRing, HoldsTheLastSamplesOldestFirst) {
    SampleRing ring(4);
    std::vector<float> copy;
    ring.append(std::vector<float>{1, 2, 3});
    ring.copyTo(copy);
    EXPECT_THAT(copy, ElementsAre(0, 1, 2, 3));
    ring.append(std::vector<float>{4, 5});
    ring.copyTo(copy);
    EXPECT_THAT(copy, ElementsAre(2, 3, 4, 5));
    ring.append(std::vector<float>{6, 7, 8, 9, 10, 11});
    ring.copyTo(copy);
    EXPECT_THAT(copy, ElementsAre(8, 9, 10, 11));
    ring.clear();
    ring.copyTo(copy);
    EXPECT_THAT(copy, ElementsAre(0, 0, 0, 0));
}

TEST(VoiceDetector, MeasuresVoiceByTheLoudestBufferSoFar) {
    VoiceState state;
    resetVoiceDetector(state, at(0), std::chrono::seconds(6));
    detectVoice(state, 0.0007, at(10)); // below the floor
    EXPECT_FALSE(state.heardSpeech);
    detectVoice(state, 0.1, at(20));
    EXPECT_TRUE(state.heardSpeech);
    detectVoice(state, 0.017, at(23)); // under 18 % of the loudest
    EXPECT_EQ(state.lastVoiceTime, at(20));
    detectVoice(state, 0.018001, at(30));
    EXPECT_EQ(state.lastVoiceTime, at(30));
    EXPECT_FALSE(state.isCommandOver);
    detectVoice(state, 0.1, at(43)); // after the silence that ends a command
    EXPECT_TRUE(state.isCommandOver);
    EXPECT_EQ(state.lastVoiceTime, at(30));
}

TEST(VoiceDetector, TakesAMicrophoneThatIsReplacedForNoSilence) {
    VoiceState state;
    resetVoiceDetector(state, at(0), std::chrono::seconds(6));
    detectVoice(state, 0.1, at(10));
    detectVoice(state, 0.001, at(15));
    state.deafSince = at(16);
    EXPECT_EQ(heardUntil(state, at(55)), at(16));
    EXPECT_EQ(heardUntil(state, at(56)), at(56)) << "it does not come back";
    detectVoice(state, 0.1, at(50)); // after 0.6 s of silence, but for the gap
    EXPECT_FALSE(state.isCommandOver);
    EXPECT_EQ(state.lastVoiceTime, at(50));
    detectVoice(state, 0.1, at(63));
    EXPECT_TRUE(state.isCommandOver) << "a microphone that merely hesitates is silent";

    state.deafSince = at(70);
    resetVoiceDetector(state, at(80), std::chrono::seconds(6));
    detectVoice(state, 0.1, at(90));
    EXPECT_EQ(state.onsetDeadline, at(150)) << "what was missed before it began does not count";
}

TEST(Wake, ThresholdIsKeptWithinItsRange) {
    const TemporaryFolder folder;
    UserDefaults defaults(folder.file("defaults.json"));
    EXPECT_EQ(wakeThreshold(defaults), 0.6);
    const std::vector<std::pair<Json, double>> cases = {
        {0.1, 0.3}, {0.99, 0.95}, {"high", 0.6}, {0.42, 0.42}, {1, 0.95}};
    for (const auto& [stored, effective] : cases) {
        defaults.set("wakeThreshold", stored);
        EXPECT_EQ(wakeThreshold(defaults), effective) << stored;
    }
}

TEST(Wake, VerificationWantsTheWordAmongFew) {
    for (const char* confirmed :
         {"hey vessa", "Vessa!", "hey vesa open mail", "WESSA", "hey-vessas"})
        EXPECT_TRUE(confirmsWakePhrase(confirmed)) << confirmed;
    for (const char* rejected :
         {"", "hey there", "so I was telling vessa about the thing", "vanessa"})
        EXPECT_FALSE(confirmsWakePhrase(rejected)) << rejected;
}

// Counts how often it is asked.
class CountingNetwork : public AudioNetwork {
public:
    explicit CountingNetwork(int& counter, float answer)
        : count(counter)
        , probabilities{1 - answer, answer} {}
    std::span<const float> run(std::span<const float>) override {
        if (++count == failAt)
            throw ModelError("broken");
        return probabilities;
    }
    int failAt = -1;

private:
    int& count;
    std::vector<float> probabilities;
};

class WakeDetectorTest : public VoiceLoopTest {
protected:
    VoiceServices servicesWith(std::function<std::unique_ptr<AudioNetwork>()> load) {
        return VoiceServices{clock, defaults, audio, speech, {}, std::move(load),
                             {},    {},       {},    {},     {}};
    }
    int asked = 0;
};

TEST_F(WakeDetectorTest, AsksTheModelOnlyAboutSoundAndTakesTheThresholdItself) {
    defaults.set("wakeThreshold", 0.5);
    WakeDetector detector(
        servicesWith([&] { return std::make_unique<CountingNetwork>(asked, 0.5F); }));
    EXPECT_FALSE(detector.isCandidate(std::vector<float>(24000, 0.00009F)));
    EXPECT_FALSE(detector.isCandidate(std::vector<float>(24000, NAN)));
    EXPECT_EQ(asked, 0);
    EXPECT_TRUE(detector.isCandidate(std::vector<float>(24000, 0.0002F)));
}

TEST_F(WakeDetectorTest, LivesWithoutAModelAndWithAFailingOne) {
    WakeDetector without(
        servicesWith([]() -> std::unique_ptr<AudioNetwork> { throw ModelError("no such file"); }));
    EXPECT_FALSE(without.isAvailable());
    EXPECT_EQ(without.wakeProb(std::vector<float>(24000, 0.5F)), 0);
    WakeDetector failing(servicesWith([&] {
        auto model = std::make_unique<CountingNetwork>(asked, 0.9F);
        model->failAt = 1;
        return model;
    }));
    EXPECT_EQ(failing.wakeProb(std::vector<float>(24000, 0.5F)), 0);
    EXPECT_GT(failing.wakeProb(std::vector<float>(24000, 0.5F)), 0.89);
}

} // namespace tavik
