#include "platform/recognition/ServerTranscriber.h"
#include "platform/json/Json.h"
#include "platform/recognition/RecordedSpeech.h"
#include "tests/support/SimulatedClock.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/http/RawServer.h"

#include <atomic>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr const char* embeddedText = "by the embedded recogniser";

class FixedTranscriber : public Transcriber {
public:
    std::uint32_t sampleRate() const override { return 16'000; }
    std::unique_ptr<Utterance> begin(std::stop_token) override { return std::make_unique<Fixed>(); }

private:
    class Fixed : public Utterance {
        void feed(std::span<const float>) override {}
        std::string finish(std::stop_token) override { return embeddedText; }
    };
};

std::string withStatus(const std::string& status, const std::string& body) {
    return "HTTP/1.1 " + status + "\r\ncontent-length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

class ServerTranscriberTest : public testing::Test {
protected:
    std::string transcribe(std::stop_token stop = {}) {
        const auto utterance = transcriber.begin({});
        const std::vector<float> samples(16'000, 0.5F);
        for (int piece = 0; piece < 3; ++piece)
            utterance->feed(samples);
        return utterance->finish(std::move(stop));
    }

    // What comes of one reply to one request.
    std::string transcriptOf(const std::string& reply) {
        const RawServer server(answeringOnce(reply));
        settings.address = server.url();
        clock.advance(61s); // whatever was left alone before
        return transcribe();
    }

    ServerTranscriber::Settings settings;
    SimulatedClock clock{0};
    std::unique_ptr<HttpSession> session = makeHttpSession();
    ServerTranscriber transcriber{std::make_unique<FixedTranscriber>(), [this] { return settings; },
                                  *session, clock};
};

} // namespace

TEST_F(ServerTranscriberTest, SendsARecordingAndTakesTheText) {
    PageServer server;
    server.answer("/v1/audio/transcriptions", okReply(R"({"text":" Open the mail. "})"));
    settings = {server.url("/v1/"), "small.en"};
    EXPECT_EQ(transcribe(), "Open the mail.");
    const std::string request = server.requests().back();
    EXPECT_THAT(request, HasSubstr("name=\"model\"\r\n\r\nsmall.en\r\n"));
    EXPECT_THAT(request, HasSubstr("name=\"language\"\r\n\r\nen\r\n"));
    const std::vector<float> samples(48'000, 0.5F);
    EXPECT_NE(request.find(wavFileOf(samples, 16'000)), std::string::npos);
}

TEST_F(ServerTranscriberTest, UsesTheOtherOneWithoutAServerOnThisMachine) {
    for (const char* address : {"", "http://example.com:8000", "http://127.0.0.1.example.com",
                                "http://u:p@127.0.0.1:1", "ftp://127.0.0.1", "nonsense:"}) {
        settings.address = address;
        EXPECT_EQ(transcribe(), embeddedText) << address;
    }
}

TEST_F(ServerTranscriberTest, UsesTheOtherOneWhenTheServerGivesNoTranscript) {
    const std::string replies[] = {
        withStatus("500 Oops", R"({"text":"no"})"),
        okReply("<html>"),
        okReply(R"({"text":7})"),
        okReply(R"(["text"])"),
        okReply(R"({"text":")" + std::string(10'000, 'x') + "\"}"),
        okReply(R"({"text":")" + std::string(1'000'000, 'x') + "\"}"),
        "HTTP/1.1 200 OK\r\ncontent-length: 100\r\n\r\n{",
        "nonsense\r\n\r\n",
    };
    for (const std::string& reply : replies)
        EXPECT_EQ(transcriptOf(reply), embeddedText) << reply.substr(0, 60);
    for (const char* text : {"", "[BLANK_AUDIO]", "(wind blowing)"})
        EXPECT_EQ(transcriptOf(okReply(compactJson({{"text", text}}))), "");
}

TEST_F(ServerTranscriberTest, LeavesAServerAloneThatLetItWait) {
    std::atomic<int> requests = 0;
    const RawServer server([&](Peer& peer) {
        if (!peer.readRequest().empty())
            ++requests;
        peer.waitForEnd();
    });
    settings.address = server.url();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(transcribe(), embeddedText);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    for (int again = 0; again < 3; ++again)
        EXPECT_EQ(transcribe(), embeddedText);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_EQ(requests, 1);
    clock.advance(61s);
    EXPECT_LE(timeToCancel([&](std::stop_token stop) { transcribe(std::move(stop)); }), 50ms);
    EXPECT_EQ(requests, 2);
}

} // namespace tavik
