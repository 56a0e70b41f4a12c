// How the voice loop tells its own voice from the user's, with the loudspeaker fed back into the
// microphone: how often its own "Hey Vessa" interrupts it (limit: never), and how often the user's
// does, by how much louder the user is than the echo.

#include "bench/QuietLog.h"
#include "tools/demo/LiveVoice.h"

#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>

namespace {

using namespace tavik;
using namespace tavik::demo;
using namespace std::chrono_literals;
using Kind = TavikPhase::Kind;

const std::string ownPhrase = "You can call me at any time. Just say: hey vessa. Then ask.";
const std::string longAnswer =
    "Once upon a time there was a small house at the edge of a forest, and in it lived an old man "
    "who knew the name of every tree. In the morning he walked to the river, and in the evening he "
    "told the children of the village what he had seen there.";

class EchoBench {
public:
    explicit EchoBench(LiveVoice& liveVoice)
        : live(liveVoice) {}

    // Feeds the loudspeaker back, so much quieter than it is.
    void feedBack(int decibels) {
        auto& server = live.stage.soundServer();
        if (!loopback.empty())
            server.pactl({"unload-module", loopback});
        loopback = server.loadModule("module-loopback",
                                     {"source=speaker.monitor", "sink=microphone-feed",
                                      "latency_msec=60", "sink_input_properties=media.name=echo"});
        // Whoever else plays was there before it.
        const std::string inputs = server.pactl({"list", "short", "sink-inputs"});
        const std::size_t line = inputs.rfind('\n', inputs.size() - 2) + 1;
        const std::string number = inputs.substr(line, inputs.find('\t', line) - line);
        server.pactl({"set-sink-input-volume", number, fmt::format("-{}dB", decibels)});
        live.wait(500ms);
    }

    // Whether the answer is interrupted, by what it says itself or by the user.
    bool isInterrupted(const std::string& answer, bool userSpeaks) {
        live.wait(1500ms);
        live.stage.scriptedModel().replyNext({say(answer)});
        live.loop->triggerSession();
        live.await(Kind::listening, 2s);
        live.wait(300ms);
        live.say("hello");
        live.await(Kind::speaking, 8s);
        const std::size_t before = interruptions();
        if (userSpeaks) {
            live.wait(1500ms);
            live.say("hey vessa");
            live.wait(1500ms);
        } else {
            live.await(Kind::listening, 15s);
        }
        live.loop->cancelSession();
        live.await(Kind::idle, 3s);
        return interruptions() > before;
    }

    std::size_t interruptions() const { return lines("✋ barge-in — \"Hey Vessa\""); }

    std::size_t lines(const std::string& text) const {
        const std::string log = live.log();
        std::size_t count = 0;
        for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
            ++count;
        return count;
    }

private:
    LiveVoice& live;
    std::string loopback;
};

int run(FILE* figures, int rounds) {
    const PrivateHome home(PrivateHome::Network::none);
    LiveVoice live(home);
    if (!live.await(Kind::idle, 20s))
        return 1;
    EchoBench bench(live);
    for (const int decibels : {0, 12}) {
        bench.feedBack(decibels);
        int own = 0;
        for (int round = 0; round < rounds; ++round)
            own += bench.isInterrupted(ownPhrase, false) ? 1 : 0;
        std::fprintf(figures,
                     "echo -%2d dB: its own phrase interrupted it %d of %d times (limit 0)\n",
                     decibels, own, rounds);
    }
    std::fprintf(figures, "its own phrase was told from the user's %zu times\n",
                 bench.lines("[wake] that was Tavik's own voice"));
    for (const int decibels : {0, 6, 12, 20, 30, 60}) {
        bench.feedBack(decibels);
        int heard = 0;
        for (int round = 0; round < rounds; ++round)
            heard += bench.isInterrupted(longAnswer, true) ? 1 : 0;
        std::fprintf(figures, "echo -%2d dB: the user's phrase interrupted it %d of %d times\n",
                     decibels, heard, rounds);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    FILE* figures = tavik::quietLog();
    return run(figures, argc > 1 ? std::atoi(argv[1]) : 8);
}
