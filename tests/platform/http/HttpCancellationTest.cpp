#include "platform/http/HttpSession.h"
#include "tests/platform/http/FakeResolver.h"
#include "tests/platform/http/RawServer.h"
#include "tests/support/StopTiming.h"

#include <atomic>

namespace tavik {

namespace {

using namespace std::chrono_literals;

// The promise to callers.
constexpr auto promptly = 50ms;

HttpRequest post(const std::string& url, std::size_t bodyBytes = 10) {
    HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.body = std::string(bodyBytes, 'x');
    return request;
}

// Of up to three tries, since a machine with more work than cores may let a thread wait that long.
std::chrono::milliseconds fastestCancel(HttpSession& session, const HttpRequest& request) {
    std::chrono::milliseconds fastest = 1h;
    for (int tries = 0; tries < 3 && fastest >= promptly; ++tries)
        fastest = std::min(
            fastest, timeToCancel([&](std::stop_token stop) { session.send(request, stop); }));
    return fastest;
}

} // namespace

TEST(HttpCancellation, IsPromptAtEveryStage) {
    StalledLookups stalled;
    FullListener full;
    RawServer deaf([](Peer&) { std::this_thread::sleep_for(300ms); });
    RawServer silent([](Peer& peer) { peer.waitForEnd(); });
    RawServer dripping([](Peer& peer) {
        peer.readRequest();
        peer.write("HTTP/1.1 200 OK\r\n\r\n");
        while (peer.write("x"))
            std::this_thread::sleep_for(5ms);
    });
    std::string handshake = silent.url();
    handshake.insert(4, "s");

    const struct {
        const char* stage;
        HttpRequest request;
    } cases[] = {
        {"resolving", post("http://stalled.test/")},
        {"connecting", post(full.url("http"))},
        {"handshake", post(handshake)},
        {"sending", post(deaf.url(), 16'000'000)},
        {"waiting", post(silent.url())},
        {"reading", post(dripping.url())},
    };
    RawServer healthy(answering(okReply("")));
    const auto session = makeHttpSession();
    for (const auto& [stage, request] : cases) {
        EXPECT_LT(fastestCancel(*session, request), promptly) << stage;
        // The session's thread was not held up either.
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(session->send(post(healthy.url()), {}).status, 200);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s) << stage;
    }
}

TEST(HttpCancellation, HangsUpOnTheServer) {
    std::atomic<bool> hungUp = false;
    RawServer server([&](Peer& peer) {
        peer.waitForEnd();
        hungUp = true;
    });
    const auto session = makeHttpSession();
    timeToCancel([&](std::stop_token stop) { session->send(post(server.url()), stop); });
    const auto deadline = std::chrono::steady_clock::now() + 2s;
    while (!hungUp && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(1ms);
    EXPECT_TRUE(hungUp);
}

TEST(HttpCancellation, SendsNothingWhenStoppedBefore) {
    RawServer server(answering(okReply("")));
    std::stop_source source;
    source.request_stop();
    const auto session = makeHttpSession();
    EXPECT_THROW(session->send(post(server.url()), source.get_token()), Cancelled);
    EXPECT_EQ(server.connectionCount(), 0);
}

// Stops that race with answers, from several threads on one session.
TEST(HttpCancellation, MayComeAtAnyMoment) {
    RawServer server(answering(okReply("answer")));
    const auto session = makeHttpSession();
    std::atomic<int> answered = 0;
    std::atomic<int> cancelled = 0;
    const auto hammer = [&](int seed) {
        for (int i = 0; i < 60; ++i) {
            std::stop_source source;
            const std::jthread stopper(
                [&, delay = std::chrono::microseconds((i * 37 + seed) % 900)] {
                    std::this_thread::sleep_for(delay);
                    source.request_stop();
                });
            try {
                EXPECT_EQ(session->send(post(server.url()), source.get_token()).body, "answer");
                ++answered;
            } catch (const Cancelled&) {
                ++cancelled;
            }
        }
    };
    {
        std::vector<std::jthread> threads;
        for (int seed : {0, 300, 600})
            threads.emplace_back(hammer, seed);
    }
    EXPECT_EQ(answered + cancelled, 180);
    EXPECT_EQ(session->send(post(server.url()), {}).body, "answer");
}

} // namespace tavik
