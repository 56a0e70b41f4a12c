#include "tests/platform/speech/FakeSpeechService.h"
#include "tests/platform/speech/SpeechWorld.h"
#include "tests/support/StopTiming.h"

#include <atomic>
#include <cstdlib>
#include <gmock/gmock.h>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Field;

std::unique_ptr<SpeechOutput> speechAt(const std::string& address) {
    setenv("SPEECHD_ADDRESS", address.c_str(), 1);
    return makeSpeechDispatcher();
}

FakeSpeechService::Answer always(const std::string& answer) {
    return [answer](const std::string&) { return answer; };
}

} // namespace

TEST(MisbehavingSpeechService, IsAClearErrorInBoundedTime) {
    struct Case {
        const char* name;
        FakeSpeechService::Answer answer;
        std::string endless;
        std::chrono::milliseconds bound;
    };
    const std::string line(4096, 'x');
    const Case cases[] = {
        {"hangs up", [](const std::string&) { return std::nullopt; }, "", 1s},
        {"an endless line", always("250-"), line, 1s},
        {"an endless reply", always(""), "250-" + line + "\r\n", 3s},
        {"endless events", always(""), "701-9\r\n701-1\r\n701 BEGIN\r\n", 6s},
        {"a code that is none", always("2x0 OK\r\n"), "", 1s},
        {"an error", always("300 ERR INTERNAL\r\n"), "", 1s},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const FakeSpeechService service(each.answer, each.endless);
        const auto speech = speechAt(service.address());
        EXPECT_LT(timeToFail([&] { speech->speak("Hello.", {}, {}); }), each.bound);
        EXPECT_LT(timeOf([&] { EXPECT_FALSE(speech->isSpeaking()); }), 100ms);
        EXPECT_LT(timeOf([&] { speech->stopSpeaking(); }), 100ms);
    }
}

TEST(MisbehavingSpeechService, IsNotWaitedForAfterAStop) {
    std::atomic<bool> isMute = true;
    const FakeSpeechService service(
        [&](const std::string& line) { return isMute ? "" : wellBehavedAnswer(line); });
    const auto speech = speechAt(service.address());
    EXPECT_LE(timeToCancel([&](std::stop_token stop) { speech->speak("Hello.", {}, stop); }), 50ms);
    EXPECT_LE(timeToCancel([&](std::stop_token stop) { speech->voices(stop); }), 50ms);
    EXPECT_FALSE(speech->isSpeaking());

    isMute = false;
    EXPECT_NO_THROW(speech->speak("Hello.", {}, {}));
}

TEST(MisbehavingSpeechService, AnswersNobodyAskedForAreNotTakenForOthers) {
    bool isExtraDue = true;
    const FakeSpeechService service([&](const std::string& line) {
        const bool isExtra = line == "." && std::exchange(isExtraDue, false);
        return wellBehavedAnswer(line) + (isExtra ? "304 ERR WHAT\r\n" : "");
    });
    const auto speech = speechAt(service.address());
    speech->speak("First.", {}, {});

    EXPECT_NO_THROW(speech->speak("Second.", std::nullopt, {}));
    EXPECT_TRUE(speech->isSpeaking());
}

TEST(MisbehavingSpeechService, EventsInTheMiddleOfAReplyAreNoPartOfIt) {
    const FakeSpeechService service([](const std::string& line) {
        return line == "." ? "225-7\r\n701-6\r\n701-1\r\n701 BEGIN\r\n225 OK MESSAGE QUEUED\r\n"
                             "702-7\r\n702-1\r\n702 END\r\n"
                           : wellBehavedAnswer(line);
    });
    const auto speech = speechAt(service.address());
    speech->speak("Hello.", {}, {});

    for (int look = 0; look < 200 && speech->isSpeaking(); ++look)
        std::this_thread::sleep_for(10ms);
    EXPECT_FALSE(speech->isSpeaking());
}

TEST(MisbehavingSpeechService, OneBrokenSynthesiserDoesNotHideTheOthersVoices) {
    const FakeSpeechService service(wellBehavedAnswer);

    EXPECT_THAT(speechAt(service.address())->voices({}),
                ElementsAre(Field(&Voice::identifier, "fake/Anna"),
                            Field(&Voice::identifier, "fake/Berta")));
}

} // namespace tavik
