// What one audit record costs its caller, and how many lines reach the file in a second, beside the
// asynchronous file sink of a logging library that only formats a text.

#include "agent/Audit.h"
#include "bench/FreshHome.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

namespace {

using namespace tavik;
using Seconds = std::chrono::duration<double>;

constexpr int lines = 50'000;

struct Figures {
    double nanosecondsOfCaller;
    double linesPerSecond;
};

Figures measure(const std::function<void(int)>& record, const std::function<void()>& flush) {
    const auto started = std::chrono::steady_clock::now();
    for (int line = 0; line < lines; ++line)
        record(line);
    const Seconds handedOver = std::chrono::steady_clock::now() - started;
    flush();
    const Seconds written = std::chrono::steady_clock::now() - started;
    return {handedOver.count() / lines * 1e9, lines / written.count()};
}

Figures measureAudit() {
    return measure(
        [](int line) {
            Audit::record("tool", {{"name", "fetch_url"}, {"success", true}, {"ms", line}});
        },
        [] { Audit::flush(); });
}

Figures measurePeer(const std::string& path) {
    spdlog::init_thread_pool(lines, 1);
    const auto logger = spdlog::create_async<spdlog::sinks::basic_file_sink_mt>("peer", path);
    logger->set_pattern("{\"ts\":\"%Y-%m-%dT%H:%M:%S.%eZ\",\"event\":\"tool\",%v}",
                        spdlog::pattern_time_type::utc);
    // The library's own flush returns at once; the end of its thread does not.
    return measure(
        [&](int line) { logger->info("\"name\":\"fetch_url\",\"success\":true,\"ms\":{}", line); },
        [&] { spdlog::shutdown(); });
}

void print(const char* name, const Figures& figures) {
    std::printf("%-24s %8.0f ns for the caller, %9.0f lines a second\n", name,
                figures.nanosecondsOfCaller, figures.linesPerSecond);
}

} // namespace

int main() {
    const FreshHome home;
    const Figures audit = measureAudit();
    const Figures peer = measurePeer(home.file("peer.log"));
    print("audit record", audit);
    print("asynchronous log library", peer);
    std::printf("ratios                   %8.2f of the caller's time, %.2f of the lines\n",
                audit.nanosecondsOfCaller / peer.nanosecondsOfCaller,
                audit.linesPerSecond / peer.linesPerSecond);
    return 0;
}
