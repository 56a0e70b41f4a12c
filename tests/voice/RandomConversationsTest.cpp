#include "app/Log.h"
#include "app/Paths.h"
#include "platform/concurrency/Locked.h"
#include "tests/voice/VoiceWorld.h"
#include "voice/VoiceTuning.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <random>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace tavik {

using Kind = TavikPhase::Kind;

namespace {

// Sanitizers are some ten times slower.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int defaultConversations = 2'000;
#else
constexpr int defaultConversations = 20'000;
#endif
constexpr int conversationsAWorld = 250;

int numberFrom(const char* variable, int otherwise) {
    const char* value = std::getenv(variable);
    return value ? std::atoi(value) : otherwise;
}

std::size_t threadsOfThisProcess() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator("/proc/self/task"))
        ++count;
    return count;
}

// Keeps the log's many lines off the terminal for as long as it lives.
class SilentOutput {
public:
    SilentOutput() {
        std::fflush(stdout);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    ~SilentOutput() {
        std::fflush(stdout);
        dup2(kept, STDOUT_FILENO);
        close(kept);
    }
    SilentOutput(const SilentOutput&) = delete;
    SilentOutput& operator=(const SilentOutput&) = delete;

private:
    const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
};

// How long the model thinks, an answer lasts and the user speaks without a pause, at most.
constexpr auto longestThinking = 7s;
constexpr auto longestSpeech = 2200ms;
constexpr auto longestUtterance = 20s;

// The phases' order and how long each may last, checked as they are reported.
class PhaseRules {
public:
    std::vector<std::string> complaints;

    void enter(Kind next, Clock::Instant now) {
        const auto lasted = now - since;
        if (lasted > longest())
            complaints.push_back(
                fmt::format("phase {} lasted {} ms", describe({current, ""}), lasted / 1ms));
        if (!mayFollow(next))
            complaints.push_back(fmt::format("phase {} came after {}", describe({next, ""}),
                                             describe({current, ""})));
        current = next;
        since = now;
    }

    Kind current = Kind::off;
    Clock::Instant since{};

private:
    Clock::Duration longest() const {
        constexpr auto poll = 200ms;
        switch (current) {
        case Kind::listening:
            return tuning::BARGE_IN_PAUSE + tuning::FOLLOWUP_WINDOW + longestUtterance +
                   tuning::END_SILENCE + poll;
        case Kind::thinking:
            return longestThinking + poll;
        case Kind::speaking:
            return tuning::SPEECH_START + longestSpeech + poll;
        default:
            return Clock::Duration::max();
        }
    }

    bool mayFollow(Kind next) const {
        if (next == Kind::off || next == Kind::error)
            return true;
        switch (current) {
        case Kind::off:
        case Kind::error:
            return next == Kind::preparing;
        case Kind::preparing:
            return next == Kind::idle;
        case Kind::idle:
            return next == Kind::listening;
        case Kind::listening: // a speaker without a key needs no thinking
            return next == Kind::thinking || next == Kind::speaking || next == Kind::idle;
        case Kind::thinking: // an answer may have no text
            return next == Kind::speaking || next == Kind::listening || next == Kind::idle;
        case Kind::speaking:
            return next == Kind::listening || next == Kind::idle;
        }
        return false;
    }
};

// One voice loop, through conversations that all go another way.
class RandomWorld : public VoiceWorld {
public:
    explicit RandomWorld(unsigned seed)
        : random(seed) {
        tellsStory = std::getenv("TAVIK_SEED") != nullptr;
        listeners.verificationTime = 250ms;
        onPhase = [this](const TavikPhase& phase) {
            rules.with([&](PhaseRules& phases) { phases.enter(phase.kind, clock.now()); });
        };
        brain->onChat = [this](const auto& messages) { checkTranscript(messages); };
    }

    // What went wrong; empty when nothing did.
    std::vector<std::string> converse(int conversations) {
        for (int number = 0; number < conversations && problems.empty(); ++number) {
            prepare();
            beginOne();
            disturb();
            if (!settles())
                problem("it never came to rest");
            checkLeftOvers();
            if (!problems.empty())
                problem(
                    fmt::format("in conversation {}, whose log ends with\n{}", number, endOfLog()));
        }
        loop.reset();
        if (clock.threads() != 1 || audio.openCaptures() != 0 || listeners.utterances != 0)
            problem("something outlived the loop");
        return problems;
    }

private:
    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(random); }
    bool rarely() { return upTo(19) == 0; }
    Clock::Duration moment(Clock::Duration most) {
        return 1ms * upTo(static_cast<int>(most / 1ms));
    }
    template<typename Value>
    Value oneOf(std::initializer_list<Value> values) {
        return values.begin()[upTo(static_cast<int>(values.size()) - 1)];
    }
    void problem(std::string what) { problems.push_back(std::move(what)); }

    static std::string endOfLog() {
        TavikLog::flush();
        const std::string log = readFile(logPath());
        return log.substr(log.size() - std::min<std::size_t>(log.size(), 4000));
    }

    Kind phase() { return lastPhase().kind; }

    void prepare() {
        healServices();
        if (!loop || !loop->isRunning()) {
            if (!loop)
                start();
            else
                restart();
            if (!reaches(Kind::idle))
                problem("it did not start");
        }
        brain->replies.clear();
        brain->isBroken = rarely();
        brain->thinkingTime = oneOf<Clock::Duration>({0s, 0s, 37ms, 410ms, 2s, 7s});
        for (int reply = upTo(3); reply > 0; --reply)
            brain->will(oneOf<std::string>({"Yes.", "It is nine.", longText, ""}),
                        oneOf<std::string>({"", "", "", "end_conversation", "pause_listening"}));
        listeners.commands.clear();
        for (int command = upTo(4); command > 0; --command)
            listeners.commands.push_back(
                oneOf<std::string>({"what is the time", "tell me more", "a", "please stop now",
                                    "go to sleep", "stop the music", ""}));
        listeners.wakeTranscript = rarely() ? "something else" : "hey vessa";
    }

    void healServices() {
        microphoneIsDead = false;
        audio.isDown = false;
        speech.isMissing = rarely();
        listeners.recogniserFails = rarely();
        hasToolbox = !rarely();
        if (rarely())
            defaults.set("wakeEnabled", upTo(1) == 0);
    }

    void beginOne() {
        if (upTo(1) == 0)
            sayWakePhrase();
        else
            loop->triggerSession();
        if (rarely())
            loop->triggerSession();
    }

    // At random moments, anything that people and machines do.
    void disturb() {
        for (int events = upTo(8); events > 0; --events) {
            pass(moment(1800ms));
            happen(upTo(23));
        }
    }

    void happen(int event) {
        switch (event) {
        case 0:
        case 1:
        case 2:
            return loop->triggerSession();
        case 3:
            return click();
        case 4:
        case 5:
            return sayWakePhrase();
        case 6:
            return loudspeakerSaysWakePhrase();
        case 7:
            speech.isMissing = !speech.isMissing;
            return;
        case 8:
            return changeRoute();
        case 9:
            return rarely() ? stopAndGo() : void();
        case 10:
            audio.isDown = rarely();
            return audio.isDown ? audio.endCapture("Connection terminated") : void();
        case 11:
            if (rarely())
                microphoneIsDead = true;
            return audio.endCapture("Entity killed");
        default:
            say(100ms + moment(1500ms));
            return pause(moment(1500ms));
        }
    }

    void click() {
        const bool wasActive =
            phase() == Kind::listening || phase() == Kind::thinking || phase() == Kind::speaking;
        loop->cancelSession();
        if (!wasActive || !loop->isRunning())
            return;
        pass(20ms);
        if (phase() != Kind::idle && phase() != Kind::error)
            problem("a click on the orb left it " + describe(lastPhase()));
        if (speech.isSpeaking())
            problem("a click on the orb left it speaking");
    }

    void changeRoute() {
        audio.defaultID = audio.defaultID == 1 ? 2 : 1;
        audio.changeRoute();
    }

    void stopAndGo() {
        loop->stop();
        if (lastPhase().kind != Kind::off || clock.threads() != 1 || audio.openCaptures() != 0)
            problem("something outlived a stop");
        restart();
    }

    // Whether it comes to rest, however the conversation went; a microphone that is dead is given
    // up after the fourth look.
    bool settles() {
        const auto limit = clock.now() + 3min;
        while (clock.now() < limit) {
            pass(100ms);
            if (phase() == Kind::error) {
                std::this_thread::sleep_for(1ms); // its threads end in real time
                if (!loop->isRunning())
                    return true;
            }
            // At that very moment the microphone may be changing.
            if (phase() == Kind::idle && isQuiet() && clock.threads() == 3 &&
                audio.openCaptures() == 1)
                return true;
        }
        return false;
    }

    void checkLeftOvers() {
        if (speech.isSpeaking())
            problem("it speaks without a conversation");
        if (listeners.utterances != 0)
            problem("a recognition goes on");
        if (!loop->isRunning() && audio.openCaptures() != 0)
            problem("a recording goes on");
        for (const std::string& each : complaints())
            problem(each);
        for (const std::string& each :
             rules.with([](const PhaseRules& phases) { return phases.complaints; }))
            problem(each);
    }

    // Each command reaches the model as the last word of the conversation so far.
    void checkTranscript(const std::vector<AgentMessage>& messages) {
        const auto* last = std::get_if<UserMessage>(&messages.back());
        const auto records = remembered();
        const bool isLatest = last && records.back().starts_with("user: ") &&
                              last->text.ends_with(records.back().substr(6));
        if (!isLatest)
            rules.with([](PhaseRules& phases) {
                phases.complaints.emplace_back("the model was asked something else");
            });
    }

    std::mt19937 random;
    Locked<PhaseRules> rules;
    std::vector<std::string> problems;
    const std::string longText = "One two three four five six seven eight nine ten eleven twelve "
                                 "thirteen fourteen fifteen sixteen seventeen eighteen nineteen.";
};

// Seeds one after another, until so many are done or one fails.
class Seeds {
public:
    Seeds(unsigned firstSeed, int count)
        : next(firstSeed)
        , end(firstSeed + static_cast<unsigned>(count)) {}

    void run() {
        for (unsigned seed = next++; seed < end; seed = next++) {
            auto problems = RandomWorld(seed).converse(conversationsAWorld);
            if (problems.empty())
                continue;
            next = end.load();
            problems.push_back(fmt::format("Once more: TAVIK_SEED={} TAVIK_CONVERSATIONS={}", seed,
                                           conversationsAWorld));
            failure.with([&](auto& found) { found = std::move(problems); });
        }
    }

    Locked<std::vector<std::string>> failure;

private:
    std::atomic<unsigned> next;
    const std::atomic<unsigned> end;
};

} // namespace

TEST(RandomConversations, AlwaysComeToRest) {
    const int conversations = numberFrom("TAVIK_CONVERSATIONS", defaultConversations);
    const int chosenSeed = numberFrom("TAVIK_SEED", 0);
    const auto firstSeed =
        chosenSeed != 0 ? static_cast<unsigned>(chosenSeed) : std::random_device()() & 0xFFFFFFU;
    Seeds seeds(firstSeed, std::max(1, conversations / conversationsAWorld));
    RandomWorld(firstSeed).converse(20); // starts the threads of the program's own
    const std::size_t threads = threadsOfThisProcess();
    {
        const SilentOutput silent;
        std::jthread other([&] { seeds.run(); });
        seeds.run();
    }
    EXPECT_THAT(seeds.failure.with([](const auto& found) { return found; }), testing::IsEmpty());
    EXPECT_EQ(threadsOfThisProcess(), threads);
}

} // namespace tavik
