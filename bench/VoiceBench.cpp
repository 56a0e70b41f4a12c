// What the user waits for, from the recordings of real conversations with a scripted model, which
// answers at once: from the wake phrase to listening, from the last word to the request beyond the
// 1.2 s of silence that end a command, from the answer to its first sound, and from a barge-in to
// silence. Limits beside them: what is felt as immediate, a tenth of a second, and for the
// recogniser half a second.

#include "bench/QuietLog.h"
#include "tools/demo/LiveVoice.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

using namespace tavik;
using namespace tavik::demo;
using namespace std::chrono_literals;
using std::chrono::system_clock;
using Kind = TavikPhase::Kind;

constexpr const char* library = "what are the opening hours of the library";

class Figures {
public:
    void add(WallTime begin, WallTime end) {
        values.push_back(std::max(0.0, 1000 * secondsBetween(begin, end)));
    }

    void print(FILE* figures, const char* what, double limit) {
        std::sort(values.begin(), values.end());
        if (values.empty())
            return void(std::fprintf(figures, "%-42s no figure\n", what));
        std::fprintf(figures, "%-42s %6.0f ms p50, %6.0f ms p99, of %zu (limit %.0f)\n", what,
                     at(0.5), at(0.99), values.size(), limit);
    }

private:
    double at(double share) const {
        const auto last = static_cast<double>(values.size() - 1);
        return values[static_cast<std::size_t>(std::lround(share * last))];
    }

    std::vector<double> values;
};

class VoiceBench {
public:
    explicit VoiceBench(LiveVoice& liveVoice)
        : live(liveVoice) {}

    // One conversation with a barge-in by hotkey at some moment of the answer.
    bool converse(int round) {
        live.wait(1300ms);
        const WallTime phrase = live.say("hey vessa");
        const auto listening = live.await(Kind::listening, 3s);
        if (!listening)
            return false;
        toListening.add(phrase, *listening);
        live.wait(200ms);
        const WallTime lastWord = live.say(library);
        const auto before = live.stage.exchanges().size();
        const auto speaking = live.await(Kind::speaking, 8s);
        if (!speaking || live.stage.exchanges().size() <= before)
            return false;
        toRequest.add(lastWord + 1200ms, live.stage.exchanges()[before].time);
        live.wait(700ms + 37ms * (round % 10));
        const auto pressed = system_clock::now();
        live.loop->cancelSession(); // which plays no cue into the recording
        live.wait(700ms);
        if (const auto first = live.firstSound(*speaking, pressed))
            toSound.add(*speaking, *first);
        const auto last = live.lastSound(pressed, pressed + 600ms);
        toSilence.add(pressed, last.value_or(pressed));
        return live.await(Kind::idle, 3s).has_value();
    }

    void print(FILE* figures) {
        toListening.print(figures, "end of \"Hey Vessa\" to listening", 100);
        toRequest.print(figures, "last word to request, beyond 1.2 s", 500);
        toSound.print(figures, "answer to first sound", 100);
        toSilence.print(figures, "barge-in to silence", 100);
    }

private:
    LiveVoice& live;
    Figures toListening;
    Figures toRequest;
    Figures toSound;
    Figures toSilence;
};

int run(FILE* figures, int rounds) {
    const PrivateHome home(PrivateHome::Network::none);
    LiveVoice live(home);
    if (!live.await(Kind::idle, 20s))
        return 1;
    live.wait(3s); // the sink's long blocks give way to short ones
    VoiceBench bench(live);
    int failures = 0;
    for (int round = 0; round < rounds; ++round)
        failures += bench.converse(round) ? 0 : 1;
    bench.print(figures);
    std::fprintf(figures, "conversations that did not go as planned   %d of %d\n", failures,
                 rounds);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    FILE* figures = tavik::quietLog();
    return run(figures, argc > 1 ? std::atoi(argv[1]) : 20);
}
