#include "platform/recognition/Transcriber.h"

#include "app/Paths.h"
#include "platform/concurrency/Cancelled.h"
#include "tests/platform/recognition/SpokenSamples.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace tavik {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr std::size_t aSecond = 16000;

class TranscriberTest : public testing::Test {
protected:
    // Loading takes long enough to do it once.
    static void SetUpTestSuite() {
        transcriber = openEmbeddedTranscriber(Vocabulary::commands).release();
    }
    static void TearDownTestSuite() { delete transcriber; }

    static std::string transcript(const std::vector<float>& samples) {
        const auto utterance = transcriber->begin({});
        utterance->feed(samples);
        return utterance->finish({});
    }

    static inline Transcriber* transcriber = nullptr;
};

TEST_F(TranscriberTest, WritesDownSpokenSentences) {
    const struct {
        const char* voice;
        const char* sentence;
        std::size_t mostErrors;
    } cases[] = {
        {"flite:slt", "what is the weather like in london today", 0},
        {"flite:rms", "remind me to call my sister on friday", 1},
        {"flite:slt", "the library is closed on sunday", 1}, // no command
    };
    for (const auto& [voice, sentence, mostErrors] : cases) {
        const std::string text = transcript(spoken(sentence, voice));
        EXPECT_LE(wordErrors(sentence, text), mostErrors) << voice << " said: " << text;
    }
}

TEST_F(TranscriberTest, UnderstandsAQuietMicrophone) {
    auto samples = spoken("open the text editor and read the first line", "flite:slt");
    for (float& sample : samples)
        sample *= 0.03F;
    const std::string text = transcript(samples);
    EXPECT_LE(wordErrors("open the text editor and read the first line", text), 1U) << text;
}

TEST_F(TranscriberTest, UnderstandsNobodyInTheBackground) {
    const std::string command = "open the text editor and read the first line";
    const auto front = trimmed(spoken(command, "flite:slt"));
    const auto back = spoken("the library is closed on sunday but the museum down the road is open "
                             "from ten to six and nobody has to pay for it",
                             "flite:rms");
    std::vector<float> samples(aSecond);
    samples.insert(samples.end(), front.begin(), front.end());
    samples.resize(samples.size() + 2 * aSecond);
    for (std::size_t index = 0; index < samples.size(); ++index)
        samples[index] += 0.05F * back[index % back.size()];
    const std::string text = transcript(samples);
    EXPECT_LE(wordErrors(command, text), 2U) << text;
}

TEST_F(TranscriberTest, HearsNoWordsWhereThereAreNone) {
    EXPECT_EQ(transcript({}), "");
    EXPECT_EQ(transcript(std::vector<float>(7)), "");
    EXPECT_EQ(transcript(std::vector<float>(48000)), "");
    EXPECT_LE(wordErrors("", transcript(noise(48000, 0.01F))), 2U);
}

TEST_F(TranscriberTest, TextDoesNotDependOnThePieces) {
    const auto samples = spoken("summarize the latest email from daniel please", "flite:slt");
    const std::string whole = transcript(samples);
    EXPECT_FALSE(whole.empty());
    const auto utterance = transcriber->begin({});
    std::size_t size = 1;
    for (std::size_t at = 0; at < samples.size(); size = size * 7 % 3001) {
        const std::size_t count = std::min(size, samples.size() - at);
        utterance->feed(std::span(samples).subspan(at, count));
        at += count;
    }
    EXPECT_EQ(utterance->finish({}), whole);
}

TEST_F(TranscriberTest, LongSpeechComesOutWhole) {
    const std::string sentence = "please open the first document and read it to me";
    const auto once = spoken(sentence, "flite:slt");
    std::vector<float> samples;
    std::string expected;
    for (int round = 0; round < 5; ++round) {
        samples.insert(samples.end(), once.begin(), once.end());
        samples.resize(samples.size() + 12000);
        expected += sentence + " ";
    }
    const std::string text = transcript(samples);
    EXPECT_LE(wordErrors(expected, text), 8U) << text; // of 50
}

TEST_F(TranscriberTest, StopEndsFinishAndLeavesItUsable) {
    std::vector<float> samples;
    while (samples.size() < 30 * 16000) {
        const auto more = spoken("explain how the engine of a car works", "flite:rms");
        samples.insert(samples.end(), more.begin(), more.end());
    }
    for (const auto delay : {0ms, 300ms, 900ms}) {
        const auto utterance = transcriber->begin({});
        utterance->feed(samples);
        std::stop_source stop;
        std::chrono::steady_clock::time_point asked;
        const std::jthread stopper([&] {
            std::this_thread::sleep_for(delay);
            asked = std::chrono::steady_clock::now();
            stop.request_stop();
        });
        EXPECT_THROW(utterance->finish(stop.get_token()), Cancelled);
        EXPECT_LT(std::chrono::steady_clock::now() - asked, 50ms);
    }
    const std::string sentence = "what time is it in berlin";
    EXPECT_LE(wordErrors(sentence, transcript(spoken(sentence, "flite:slt"))), 1U);
}

TEST_F(TranscriberTest, ASecondUtteranceWaitsForTheFirstToGo) {
    auto first = transcriber->begin({});
    auto second = std::async(std::launch::async, [] { return transcriber->begin({}); });
    EXPECT_EQ(second.wait_for(100ms), std::future_status::timeout);
    EXPECT_LT(timeToCancel([](std::stop_token stop) { transcriber->begin(stop); }), 200ms)
        << "though the first one goes on";
    first.reset();
    ASSERT_EQ(second.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(second.get()->finish({}), "");
}

TEST(Transcriber, AnUtteranceMayOutliveIt) {
    auto transcriber = openEmbeddedTranscriber(Vocabulary::commands);
    const auto decoding = transcriber->begin({});
    decoding->feed(noise(16000, 0.1F));
    transcriber.reset();
    decoding->feed(noise(16000, 0.1F));
    EXPECT_THROW(decoding->finish({}), TranscriberError);
}

TEST(Transcriber, TwoListenAtOnce) {
    const auto hear = [](const char* voice, const char* sentence) {
        const auto transcriber = openEmbeddedTranscriber(Vocabulary::commands);
        const auto utterance = transcriber->begin({});
        utterance->feed(spoken(sentence, voice));
        return utterance->finish({});
    };
    auto other = std::async(std::launch::async, hear, "flite:rms", "close the browser window");
    const std::string question = "what is the weather like in london today";
    EXPECT_LE(wordErrors(question, hear("flite:slt", question.c_str())), 1U);
    EXPECT_LE(wordErrors("close the browser window", other.get()), 1U);
}

// Puts an environment variable back at the end.
class ResourceFolder {
public:
    explicit ResourceFolder(const std::string& folder)
        : previous(std::getenv("TAVIK_RESOURCES") ? std::getenv("TAVIK_RESOURCES") : "") {
        setenv("TAVIK_RESOURCES", folder.c_str(), 1);
    }
    ~ResourceFolder() { setenv("TAVIK_RESOURCES", previous.c_str(), 1); }

private:
    const std::string previous;
};

std::string complaint(Vocabulary vocabulary) {
    try {
        openEmbeddedTranscriber(vocabulary);
        return "";
    } catch (const TranscriberError& error) {
        return error.what();
    }
}

TEST(Transcriber, NamesTheFileThatIsMissingOrDamaged) {
    const TemporaryFolder folder;
    const std::string installed = resourcePath("");
    const ResourceFolder resources(folder.path());
    const std::string arpa = folder.file("language/commands.arpa");
    std::filesystem::create_directory(folder.file("language"));
    EXPECT_THAT(complaint(Vocabulary::wakePhrase), HasSubstr(folder.file("language/wake.dict")));
    for (const char* file : {"language/wake.dict", "language/wake.arpa"})
        std::filesystem::copy(installed + file, folder.file(file));
    EXPECT_THAT(complaint(Vocabulary::wakePhrase),
                HasSubstr(folder.file("CleanSpeech.onnx") + " is missing"));
    EXPECT_THAT(complaint(Vocabulary::commands), HasSubstr(arpa + " is missing"));
    writeFile(arpa, "");
    EXPECT_THAT(complaint(Vocabulary::commands), HasSubstr(arpa + " is missing or empty"));
    writeFile(arpa, "\\data\\\nngram 1=3\nngram 2=1\n\n\\1-grams:\n-1.0 <s> -0.3\n");
    EXPECT_THAT(complaint(Vocabulary::commands), HasSubstr(arpa + " is cut short"));
    writeFile(arpa, "no language at all\n\\end\\\n");
    EXPECT_THAT(complaint(Vocabulary::commands),
                HasSubstr(folder.file("NoiseReduction.onnx") + " is missing"));
    std::filesystem::copy(installed + "NoiseReduction.onnx", folder.file("NoiseReduction.onnx"));
    EXPECT_THAT(complaint(Vocabulary::commands), HasSubstr(arpa + " could not be loaded"));
}

} // namespace
} // namespace tavik
