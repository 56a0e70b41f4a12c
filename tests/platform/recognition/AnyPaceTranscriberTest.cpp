#include "platform/recognition/AnyPaceTranscriber.h"

#include "platform/concurrency/Cancelled.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace tavik {
namespace {

using testing::DoubleNear;
using testing::Pointwise;

constexpr std::uint32_t rate = 16000;

// Understands one text after the other, and notes how many seconds it heard for each.
class ScriptedTranscriber : public Transcriber {
public:
    ScriptedTranscriber(std::vector<std::string> script, std::vector<double>& noted)
        : texts(std::move(script))
        , seconds(noted) {}

    std::uint32_t sampleRate() const override { return rate; }
    std::unique_ptr<Utterance> begin(std::stop_token) override {
        EXPECT_FALSE(isTaken) << "one at a time";
        return std::make_unique<Scripted>(*this);
    }

private:
    struct Scripted : Utterance {
        explicit Scripted(ScriptedTranscriber& owner)
            : transcriber(owner) {
            transcriber.isTaken = true;
            transcriber.seconds.push_back(0);
        }
        ~Scripted() override { transcriber.isTaken = false; }
        void feed(std::span<const float> samples) override {
            transcriber.seconds.back() += static_cast<double>(samples.size()) / rate;
        }
        std::string finish(std::stop_token stop) override {
            const std::string text = transcriber.texts.at(transcriber.seconds.size() - 1);
            if (text == "long" && stop.stop_requested())
                throw Cancelled();
            return text == "broken" ? throw TranscriberError(text) : text;
        }
        ScriptedTranscriber& transcriber;
    };

    std::vector<std::string> texts;
    std::vector<double>& seconds;
    bool isTaken = false;
};

// What it makes of two and a half seconds that come in pieces. The utterance outlives it.
std::string hear(const std::vector<std::string>& texts, std::vector<double>& seconds,
                 std::stop_token stop = {}) {
    const auto utterance =
        AnyPaceTranscriber(std::make_unique<ScriptedTranscriber>(texts, seconds), {"tea", "tee"})
            .begin({});
    for (int piece = 0; piece < 5; ++piece)
        utterance->feed(std::vector<float>(rate / 2, 0.1F));
    return utterance->finish(std::move(stop));
}

} // namespace

TEST(AnyPaceTranscriber, HearsFewOtherWordsAgainAtOtherPaces) {
    const struct {
        std::vector<std::string> texts;
        std::string text;
        std::size_t looks;
    } cases[] = {
        {{"hey tea"}, "hey tea", 1},
        {{"the key for", "hey tee"}, "hey tee", 2},
        {{"the key", "the key", "tea"}, "tea", 3},
        {{"the key for", "the key", "hey there"}, "the key for", 3},
        {{"what a teaser", "what a tea", "what a tea"}, "what a teaser", 3},
        {{"we went there with him"}, "we went there with him", 1},
        {{""}, "", 1},
    };
    for (const auto& [texts, text, looks] : cases) {
        std::vector<double> seconds;
        EXPECT_EQ(hear(texts, seconds), text);
        std::vector<double> expected = {2.5, 2.75, 2.35};
        expected.resize(looks);
        EXPECT_THAT(seconds, Pointwise(DoubleNear(0.02), expected)) << text;
    }
}

TEST(AnyPaceTranscriber, EndsWithAFailureOrAStopAtAnyPace) {
    std::vector<double> seconds;
    EXPECT_THROW(hear({"broken"}, seconds), TranscriberError);
    seconds.clear();
    EXPECT_THROW(hear({"the key", "broken", "tea"}, seconds), TranscriberError);
    seconds.clear();
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(hear({"the key", "long"}, seconds, stopped.get_token()), Cancelled);
}

} // namespace tavik
