// Whether a running tavik stays as it is: a spoken conversation every minute, for an hour or as
// many minutes as are asked for, and its memory, descriptors and threads after each. They are
// compared with those after the third conversation, by when everything has been used once. Limits:
// no descriptor and no thread more, and a tenth more memory.

#include "platform/concurrency/Clock.h"
#include "tools/demo/ConversationWatch.h"
#include "tools/demo/Failure.h"
#include "tools/demo/Program.h"
#include "tools/demo/Stage.h"
#include "tools/demo/StandInUser.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace {

using namespace tavik;
using namespace tavik::demo;
using namespace std::chrono_literals;

constexpr int warmUp = 3; // conversations

struct Vitals {
    double megabytes = 0;
    long descriptors = 0;
    long threads = 0;
};

long entries(const std::string& folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

Vitals vitalsOf(pid_t process) {
    const std::string folder = fmt::format("/proc/{}", process);
    std::ifstream statm(folder + "/statm");
    double pages = 0;
    statm >> pages >> pages;
    return {pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6, entries(folder + "/fd"),
            entries(folder + "/task")};
}

class Soak {
public:
    explicit Soak(const Options& theOptions)
        : options(theOptions)
        , utterance(prepareUtterance(options, home))
        , stage(options, home)
        , program(options.tavik, home.file("output"))
        , watch(program, {}) {
        watch.awaitReady();
    }

    void converse() {
        stage.playToMicrophone(utterance.sound, {});
        watch.awaitCommand();
        watch.awaitAnswer(ConversationWatch::Model::scripted);
        watch.awaitSpoken();
        watch.awaitWaiting();
    }

    Vitals vitals() { return vitalsOf(program.pid()); }

private:
    const Options options;
    const PrivateHome home{PrivateHome::Network::none};
    const Utterance utterance;
    Stage stage;
    Program program;
    ConversationWatch watch;
};

int run(const Options& options, int minutes) {
    Soak soak(options);
    Vitals first;
    int failures = 0;
    for (int minute = 0; minute < minutes; ++minute) {
        const auto next = std::chrono::steady_clock::now() + 1min;
        try {
            soak.converse();
        } catch (const Failure& failure) {
            ++failures;
            std::printf("minute %d: %s\n", minute, failure.what());
        }
        systemClock().sleepFor(2s, {});
        const Vitals now = soak.vitals();
        if (minute < warmUp)
            first = now;
        std::printf("minute %3d: %6.1f MB, %ld descriptors, %ld threads\n", minute, now.megabytes,
                    now.descriptors, now.threads);
        std::fflush(stdout);
        systemClock().sleepFor(std::max(0ns, next - std::chrono::steady_clock::now()), {});
    }
    const Vitals last = soak.vitals();
    std::printf("after %d minutes: memory ratio %.3f (limit 1.1), %+ld descriptors (limit 0), "
                "%+ld threads (limit 0), %d conversations failed\n",
                minutes, last.megabytes / first.megabytes, last.descriptors - first.descriptors,
                last.threads - first.threads, failures);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "Usage: bench_soak TAVIK [MINUTES]\n");
        return 2;
    }
    Options options;
    options.tavik = std::filesystem::absolute(argv[1]).string();
    return run(options, argc > 2 ? std::atoi(argv[2]) : 60);
}
