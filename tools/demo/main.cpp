#include "app/QuitSignals.h"
#include "platform/concurrency/Cancelled.h"
#include "tools/demo/Demonstration.h"

#include <cstdio>
#include <stop_token>

namespace tavik::demo {

namespace {

ExitStatus demonstrate(const Options& options) {
    const PrivateHome home(options.isLive ? PrivateHome::Network::provider
                                          : PrivateHome::Network::none);
    std::stop_source quit;
    const QuitSignals signals([&] { quit.request_stop(); });
    try {
        return Demonstration(options, home, quit.get_token()).run();
    } catch (const Cancelled&) {
        std::fputs("Interrupted.\n", stderr);
        return ExitStatus::interrupted;
    }
}

} // namespace

} // namespace tavik::demo

int main(int argc, char** argv) {
    using namespace tavik::demo;
    try {
        const auto options = parseOptions(argc, argv);
        return static_cast<int>(options ? demonstrate(*options) : ExitStatus::good);
    } catch (const Failure& failure) {
        std::fprintf(stderr, "demo: %s\n", failure.what());
        return static_cast<int>(failure.status);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "demo: %s\n", error.what());
        return static_cast<int>(ExitStatus::noServices);
    }
}
