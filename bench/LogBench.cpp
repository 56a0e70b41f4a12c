// What one log line costs its caller. Limit: an asynchronous hand-over, so well under the cost of
// formatting and writing the line in place, which the second benchmark measures as the peer.

#include "app/Log.h"
#include "bench/FreshHome.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace {

// As many lines as a busy second might bring, so that the queue's memory does not grow without end.
constexpr int burst = 1000;

void callerOfLog(benchmark::State& state) {
    int line = 0;
    for (auto _ : state) {
        tavik::log("[bench] a line of the usual length, with a number at its end");
        if (++line % burst == 0) {
            state.PauseTiming();
            tavik::TavikLog::flush();
            state.ResumeTiming();
        }
    }
    tavik::TavikLog::flush();
}
BENCHMARK(callerOfLog);

void writeInPlace(benchmark::State& state) {
    const int descriptor = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const std::string path = std::string(std::getenv("HOME")) + "/peer.log";
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    for (auto _ : state) {
        char line[128];
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        const int length =
            std::snprintf(line, sizeof line,
                          "[%02d:%02d:%02d.000] [bench] a line of the usual length, with "
                          "a number at its end\n",
                          local.tm_hour, local.tm_min, local.tm_sec);
        benchmark::DoNotOptimize(write(descriptor, line, static_cast<std::size_t>(length)));
        benchmark::DoNotOptimize(write(file, line, static_cast<std::size_t>(length)));
    }
    close(descriptor);
    close(file);
}
BENCHMARK(writeInPlace);

} // namespace

int main(int argc, char** argv) {
    // The lines themselves go nowhere: neither into the user's log nor onto the terminal.
    const tavik::FreshHome home;
    const int terminal = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    tavik::TavikLog::flush();
    dup2(nowhere, STDOUT_FILENO);
    std::FILE* results = fdopen(terminal, "w");

    benchmark::Initialize(&argc, argv);
    struct Reporter : benchmark::BenchmarkReporter {
        explicit Reporter(std::FILE* stream)
            : output(stream) {}
        bool ReportContext(const Context&) override { return true; }
        void ReportRuns(const std::vector<Run>& runs) override {
            for (const Run& run : runs)
                std::fprintf(output, "%-20s %8.0f ns wall, %8.0f ns CPU of the caller\n",
                             run.benchmark_name().c_str(), run.GetAdjustedRealTime(),
                             run.GetAdjustedCPUTime());
        }
        std::FILE* output;
    } reporter(results);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::fclose(results);
    return 0;
}
