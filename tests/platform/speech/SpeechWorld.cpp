#include "tests/platform/speech/SpeechWorld.h"

#include <cstdlib>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr double onItsWay = 0.15; // seconds; what was played and has not arrived yet

} // namespace

SpeechWorld::SpeechWorld() {
    setenv("PULSE_SERVER", pulse.server().c_str(), 1);
    setenv("SPEECHD_ADDRESS", service.address().c_str(), 1);
    audio = makePulseAudioServer();
    ear = std::make_unique<HeardSound>(*audio, sourceNamed(*audio, "speaker.monitor"));
}

SpeechWorld::~SpeechWorld() {
    speech->stopSpeaking();
}

bool SpeechWorld::awaitEnd(std::chrono::milliseconds patience) {
    const auto deadline = steady_clock::now() + patience;
    while (speech->isSpeaking()) {
        if (steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

LoudTime SpeechWorld::heardSince(double begin) {
    return loudTimeOf(ear->since(begin), ear->format().sampleRate);
}

bool SpeechWorld::awaitSound(double begin) {
    for (int i = 0; i < 100; ++i) {
        if (heardSince(begin).length > 0)
            return true;
        ear->hearMore(0.05);
    }
    return false;
}

double SpeechWorld::secondsSpoken(const std::string& text, const std::optional<Voice>& voice) {
    const double begin = ear->seconds();
    speech->speak(text, voice, {});
    EXPECT_TRUE(awaitEnd());
    ear->hearMore(onItsWay);
    return heardSince(begin).length;
}

std::chrono::milliseconds timeOf(const std::function<void()>& call) {
    const auto start = steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - start);
}

std::chrono::milliseconds timeToFail(const std::function<void()>& call) {
    return timeOf([&] { EXPECT_THROW(call(), SpeechError); });
}

} // namespace tavik
