#include "brains/BrainPost.h"
#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "tests/brains/FakeHttpSession.h"
#include "tests/support/SimulatedClock.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

constexpr auto overloaded =
    "Anthropic is overloaded right now. That's on their side — try again in a moment.";

class BrainPost : public testing::Test {
protected:
    Json post(std::stop_token stop = {}) {
        HttpRequest request;
        request.url = "https://api.test/v1/messages";
        request.headers = {{"x-api-key", "secret"}};
        return brainPost(request, Json{{"question", "why"}}, "anthropic", http, clock, stop);
    }

    std::string sentence() {
        return sentenceOf([this] { post(); });
    }

    FakeHttpSession http;
    SimulatedClock clock;
};

} // namespace

TEST_F(BrainPost, SendsTheBodyAndReturnsTheObject) {
    http.answer(200, R"({"b":1,"a":[2]})");
    EXPECT_EQ(compactJson(post()), R"({"b":1,"a":[2]})");
    const HttpRequest& sent = http.requests.at(0);
    EXPECT_EQ(sent.method, "POST");
    EXPECT_EQ(sent.timeout, 60s);
    EXPECT_EQ(sent.maximumRedirects, 0);
    EXPECT_EQ(sent.body, R"({"question":"why"})");
    EXPECT_EQ(sent.headers, (std::vector<HttpRequest::Header>{{"x-api-key", "secret"}}));

    http.answer(201, R"([{"a":1},{"a":2}])");
    EXPECT_EQ(compactJson(post()), R"({"a":1})");
}

TEST_F(BrainPost, RetriesWhatMayPass) {
    for (const int status : {429, 500, 502, 503, 504}) {
        const auto before = clock.now();
        http.answer(status, "{}");
        http.answer(200, R"({"ok":true})");
        EXPECT_EQ(compactJson(post()), R"({"ok":true})");
        EXPECT_EQ(clock.now() - before, 1500ms) << status;
    }
    const auto before = clock.now();
    for (int i = 0; i < 3; ++i)
        http.answer(503, "");
    EXPECT_EQ(sentence(), overloaded);
    EXPECT_EQ(clock.now() - before, 4500ms);
}

TEST_F(BrainPost, CountsBothKindsOfFailureTogether) {
    http.fail(TransportFailure::timedOut);
    http.answer(503, "");
    http.fail(TransportFailure::other);
    EXPECT_EQ(sentence(), "I couldn't reach anthropic — the connection kept failing.");
    EXPECT_EQ(clock.elapsed(), 1s + 3s);
    EXPECT_EQ(http.requests.size(), 3u);
}

TEST_F(BrainPost, TellsFailuresOfTheNetworkApart) {
    using enum TransportFailure;
    for (const TransportFailure offline :
         {notConnectedToInternet, networkConnectionLost, dataNotAllowed}) {
        http.fail(offline);
        EXPECT_EQ(sentence(), "I can't reach the internet right now.");
    }
    EXPECT_EQ(clock.elapsed(), 0s);
    for (const TransportFailure kind : {cannotFindHost, cannotConnectToHost, secureConnectionFailed,
                                        timedOut, responseTooLarge, other}) {
        const auto before = clock.now();
        for (int i = 0; i < 3; ++i)
            http.fail(kind);
        EXPECT_EQ(sentence(), "I couldn't reach anthropic — the connection kept failing.");
        EXPECT_EQ(clock.now() - before, 3s);
    }
}

TEST_F(BrainPost, SaysWhatTheProviderSaid) {
    const std::string longText(299, 'x');
    std::string emoji;
    for (int i = 0; i < 74; ++i)
        emoji += "🙂";
    const struct {
        int status;
        std::string body, expected;
    } cases[] = {
        {400, R"({"error":{"message":"bad tool schema"}})", "bad tool schema"},
        {400, R"([{"error":{"message":"in a list"}}])", "in a list"},
        {400, R"({"error":{"message":7}})", R"({"error":{"message":7}})"},
        {400, R"({"error":"a string"})", R"({"error":"a string"})"},
        {418, "", "no response"},
        {400, "\xff\xfe", "no response"},
        {0, "odd", "odd"},
        {200, "<html>", "<html>"},
        {200, "[1]", "[1]"},
        {200, "\"text\"", "\"text\""},
        {400, longText + "é", std::string(120, 'x')}, // cut in the middle of the last character
        {400, std::string(500, 'y'), std::string(120, 'y')},
        {400, R"({"error":{"message":"no: secret, secret"}})", "no: …, …"}, // the key
        {400, emoji + "secret", emoji + "…"},                               // the key at the cut
    };
    for (const auto& [status, body, expected] : cases) {
        http.answer(status, body);
        EXPECT_EQ(sentence(), "Anthropic returned an error: " + expected + ".") << body;
    }
    http.answer(501, "");
    EXPECT_EQ(sentence(), overloaded);
    EXPECT_EQ(clock.elapsed(), 0s); // none of these is tried again
}

TEST_F(BrainPost, SaysThatAKeyIsWrongThatCannotBeSent) {
    for (const char* key : {"two\nlines", "bell\a", "schlüssel"}) {
        HttpRequest request;
        request.headers = {{"Authorization", std::string("Bearer ") + key}};
        EXPECT_EQ(sentenceOf([&] { brainPost(request, Json::object(), "xai", http, clock, {}); }),
                  "Xai rejected the API key. Please check it in Tavik's settings.");
    }
    EXPECT_TRUE(http.requests.empty());
}

TEST_F(BrainPost, CanBeCancelledInEveryWait) {
    http.hang();
    EXPECT_LT(timeToCancel([this](std::stop_token stop) { post(stop); }), 50ms);

    http.answer(503, "");
    clock.setSleepers(2); // time stands still
    EXPECT_LT(timeToCancel([this](std::stop_token stop) { post(stop); }), 50ms);

    std::stop_source source;
    source.request_stop();
    EXPECT_THROW(post(source.get_token()), Cancelled);
    EXPECT_EQ(http.requests.size(), 2u);
}

// A transport may notice the cancellation as a broken connection.
TEST_F(BrainPost, TakesAFailureAfterTheStopForACancellation) {
    class StoppedWhileSending : public HttpSession {
    public:
        HttpResponse send(const HttpRequest&, std::stop_token) override {
            source.request_stop();
            throw TransportError(TransportFailure::notConnectedToInternet, "gone");
        }
        std::stop_source source;
    } stopped;
    EXPECT_THROW(brainPost({}, Json::object(), "xai", stopped, clock, stopped.source.get_token()),
                 Cancelled);
}

TEST_F(BrainPost, LogsAttemptsWithoutContents) {
    TavikLog::clearHistory();
    http.fail(TransportFailure::other);
    http.answer(500, R"({"error":{"message":"private"}})");
    http.answer(400, R"({"error":{"message":"private"}})");
    sentence();
    TavikLog::flush();
    const std::string lines = readFile(TavikLog::path());
    EXPECT_THAT(lines, HasSubstr("[brain] network error (attempt 1): as the test wants it\n"));
    EXPECT_THAT(lines, HasSubstr("[brain] anthropic HTTP 500 (attempt 2)\n"));
    EXPECT_THAT(lines, HasSubstr("[brain] anthropic HTTP 400 (attempt 3)\n"));
    EXPECT_THAT(lines, Not(testing::AnyOf(HasSubstr("private"), HasSubstr("secret"))));
}

} // namespace tavik
