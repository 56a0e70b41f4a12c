#include "tests/platform/http/FakeResolver.h"
#include "tests/platform/http/HttpTest.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/http/RawServer.h"

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// The promise to callers.
constexpr auto promptly = 50ms;

// A request that never gets further than one stage.
struct StuckRequest {
    std::string stage;
    HttpRequest request;
};

class HttpCancellation : public HttpTest {
protected:
    HttpCancellation() { setenv("https_proxy", silent.url().c_str(), 1); }
    ~HttpCancellation() override { unsetenv("https_proxy"); }

    std::vector<StuckRequest> stuckRequests() {
        return {
            {"asking for the proxies", post("http://stalled-proxies.test/")},
            {"resolving", post("http://stalled.test/")},
            {"connecting", post(full.url())},
            {"asking a proxy", post("https://nowhere.test/")},
            {"shaking hands", post("https" + silent.url().substr(4))},
            {"sending", post(deaf.url(), std::string(16'000'000, 'x'))},
            {"waiting", post(silent.url())},
            {"reading", post(dripping.url())},
        };
    }

    // Of up to three tries, since a busy machine may let a thread wait so long.
    std::chrono::milliseconds fastestCancel(const HttpRequest& request) {
        std::chrono::milliseconds fastest = 1h;
        for (int tries = 0; tries < 3 && fastest >= promptly; ++tries)
            fastest =
                std::min(fastest, timeToCancel([&](auto stop) { session->send(request, stop); }));
        return fastest;
    }

    StalledLookups stalled;
    FullListener full;
    RawServer deaf{[](Peer&) { std::this_thread::sleep_for(300ms); }};
    std::atomic<int> hungUp = 0;
    RawServer silent{[this](Peer& peer) {
        peer.waitForEnd();
        ++hungUp;
    }};
    RawServer dripping{[](Peer& peer) {
        peer.readRequest();
        peer.write("HTTP/1.1 200 OK\r\n\r\n");
        while (peer.write("x"))
            std::this_thread::sleep_for(5ms);
    }};
    PageServer healthy;
};

} // namespace

TEST_F(HttpCancellation, IsPromptAtEveryStage) {
    for (const auto& [stage, request] : stuckRequests()) {
        EXPECT_LT(fastestCancel(request), promptly) << stage;
        // The session's thread was not held up either.
        const auto begin = steady_clock::now();
        EXPECT_EQ(fetch(healthy.url()).status, 200);
        EXPECT_LT(steady_clock::now() - begin, 1s) << stage;
    }
    EXPECT_TRUE(eventually([this] { return hungUp == silent.connectionCount(); }));
}

TEST_F(HttpCancellation, IsNotNeededForATimeout) {
    for (auto& [stage, request] : stuckRequests()) {
        request.timeout = 200ms;
        const auto begin = steady_clock::now();
        EXPECT_EQ(failureKind(request), TransportFailure::timedOut) << stage;
        const auto taken = steady_clock::now() - begin;
        EXPECT_GE(taken, 190ms) << stage;
        EXPECT_LT(taken, 1s) << stage;
    }
}

TEST_F(HttpCancellation, ComesWithTheEndOfTheSession) {
    for (const auto& [stage, request] : stuckRequests()) {
        session = makeHttpSession();
        session->prepareConnection(silent.url());
        HttpSession& ending = *session;
        const auto begin = steady_clock::now();
        const std::jthread ender([this] {
            std::this_thread::sleep_for(50ms);
            session.reset();
        });
        EXPECT_THROW(ending.send(request, {}), Cancelled) << stage;
        EXPECT_LT(steady_clock::now() - begin, 1s) << stage;
    }
}

TEST_F(HttpCancellation, SendsNothingWhenItCameBefore) {
    std::stop_source source;
    source.request_stop();
    EXPECT_THROW(session->send(post(healthy.url()), source.get_token()), Cancelled);
    EXPECT_EQ(healthy.connectionCount(), 0);
}

// Stops that race with answers, from several threads on one session.
TEST_F(HttpCancellation, MayComeAtAnyMoment) {
    const auto hammer = [&](int seed) {
        for (int i = 0; i < 60; ++i) {
            std::stop_source source;
            const std::jthread stopper(
                [&, delay = std::chrono::microseconds((i * 37 + seed) % 900)] {
                    std::this_thread::sleep_for(delay);
                    source.request_stop();
                });
            try {
                EXPECT_EQ(session->send(post(healthy.url()), source.get_token()).body, "here");
            } catch (const Cancelled&) {
                EXPECT_TRUE(source.stop_requested());
            }
        }
    };
    {
        std::vector<std::jthread> threads;
        for (int seed : {0, 300, 600})
            threads.emplace_back(hammer, seed);
    }
    EXPECT_EQ(fetch(healthy.url()).body, "here");
}

} // namespace tavik
