#include "tests/system/RunningTavik.h"
#include "tools/stand-ins/model/ScriptedModel.h"

#include <filesystem>
#include <fmt/format.h>

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace tavik {

namespace {

const std::vector<std::string> providers = {"anthropic", "openai", "gemini", "xai"};

std::string capitalizedWord(std::string word) {
    word.front() = static_cast<char>(word.front() - 'a' + 'A');
    return word;
}

// The self-test of one provider against a model of its own.
struct SelfTest {
    SelfTest(const std::string& provider, std::vector<ModelReply> replies)
        : tavik((model.replyNext(std::move(replies)),
                 std::make_unique<RunningTavik>(
                     std::vector<std::string>{"--selftest-agent", "what does the page say"},
                     settingsFor(provider, model.host()), keyFor(provider)))) {}

    std::string finish() {
        EXPECT_EQ(tavik->process().waitFor(60s), 0);
        return tavik->output();
    }

    ScriptedModel model;
    std::unique_ptr<RunningTavik> tavik;
};

} // namespace

TEST(AgentSelfTest, AnswersThroughEveryProvider) {
    for (const std::string& provider : providers) {
        SelfTest test(provider, {say("It says hello.")});
        const std::string output = test.finish();
        EXPECT_THAT(output, HasSubstr("[selftest] task: what does the page say\n"));
        EXPECT_THAT(output, HasSubstr("[selftest] app AX trusted: false, screen: false\n"));
        EXPECT_THAT(output, HasSubstr("[selftest] ANSWER: It says hello.\n")) << provider;
    }
}

TEST(AgentSelfTest, UsesToolsOverSeveralStepsThroughEveryProvider) {
    for (const std::string& provider : providers) {
        ScriptedModel model;
        const std::string page = model.servePage("/page", "<h1>Fresh</h1><p>bread at nine</p>");
        model.callToolWhen({"page"}, {"fetch_url", {{"url", page}}},
                           [](const std::string& result) { return "I read: " + result; });
        RunningTavik tavik({"--selftest-agent", "what does the page say"},
                           settingsFor(provider, model.host()), keyFor(provider));
        EXPECT_EQ(tavik.process().waitFor(60s), 0);
        EXPECT_THAT(tavik.output(), HasSubstr("[agent] → fetch_url\n"));
        EXPECT_THAT(tavik.output(), HasSubstr("[selftest] ANSWER: I read: Fresh bread at nine\n"))
            << provider;
        EXPECT_EQ(model.connectionCount(), 1) << provider;
    }
}

TEST(AgentSelfTest, MarksTheEndingsThatAModelChooses) {
    SelfTest ending("gemini", {callTool("end_conversation", Json::object())});
    SelfTest pausing("anthropic", {callTool("pause_listening", Json::object())});
    EXPECT_THAT(ending.finish(), HasSubstr("[selftest] ANSWER:  [end_conversation]\n"));
    EXPECT_THAT(pausing.finish(), HasSubstr("[selftest] ANSWER:  [pause_listening]\n"));
}

TEST(AgentSelfTest, SaysEveryFailureOfEveryProviderInItsSentence) {
    struct Case {
        std::string name;
        ModelReply reply;
        std::string sentence; // {} is the provider's word, capitalised
    };
    const auto raw = [](std::string body) {
        ModelReply reply = say("");
        reply.rawBody = std::move(body);
        return reply;
    };
    const std::vector<Case> cases = {
        {"401", failWith(401, "bad key"),
         "{} rejected the API key. Please check it in Tavik's settings."},
        {"403", failWith(403, "no"),
         "{} rejected the API key. Please check it in Tavik's settings."},
        {"404", failWith(404, "no"),
         "{} doesn't know this model. Check the model name in Tavik's settings."},
        {"429", failWith(429, "slow down"),
         "{} says we've hit the rate limit. Give it a minute and try again."},
        {"503", failWith(503, "busy"),
         "{} is overloaded right now. That's on their side — try again in a moment."},
        {"501", failWith(501, "never"),
         "{} is overloaded right now. That's on their side — try again in a moment."},
        {"400", failWith(400, "bad tool schema"), "{} returned an error: bad tool schema."},
        {"no JSON", raw("surprise"), "{} returned an error: surprise."},
        {"wrong types", raw(R"({"content":7,"choices":"none"})"),
         "{} sent back an empty answer. Try again."},
    };
    std::vector<std::pair<std::unique_ptr<SelfTest>, std::string>> running;
    for (const std::string& provider : providers)
        for (const Case& each : cases) {
            // As often as it may be tried, and all of them at the same time.
            running.emplace_back(
                std::make_unique<SelfTest>(provider, std::vector<ModelReply>(3, each.reply)),
                fmt::format(fmt::runtime(each.sentence), capitalizedWord(provider)));
        }
    for (auto& [test, sentence] : running)
        EXPECT_THAT(test->finish(), HasSubstr("[selftest] FAIL: " + sentence + "\n"));
}

TEST(AgentSelfTest, SurvivesConnectionsThatBreakAndRepliesWithoutEnd) {
    const std::string failing = " — the connection kept failing.\n";
    SelfTest cut("openai", std::vector<ModelReply>(3, cutConnection()));
    ModelReply endless = say("");
    endless.rawBody = "\"" + std::string(100 * 1024 * 1024, 'x') + "\"";
    SelfTest large("xai", std::vector<ModelReply>(3, endless));
    RunningTavik refused({"--selftest-agent", "hello"},
                         settingsFor("anthropic", "http://127.0.0.1:9"), keyFor("anthropic"));
    EXPECT_THAT(cut.finish(), HasSubstr("[selftest] FAIL: I couldn't reach openai" + failing));
    EXPECT_THAT(large.finish(), HasSubstr("[selftest] FAIL: I couldn't reach xai" + failing));
    EXPECT_EQ(refused.process().waitFor(60s), 0);
    EXPECT_THAT(refused.output(),
                HasSubstr("[selftest] FAIL: I couldn't reach anthropic" + failing));
}

TEST(AgentSelfTest, NeedsAKey) {
    RunningTavik tavik({"--selftest-agent", "hello"}, {{"provider", "openai"}});
    EXPECT_EQ(tavik.process().waitFor(20s), 0);
    EXPECT_THAT(tavik.output(), HasSubstr("[selftest] FAIL: no brain — missing key\n"));
}

TEST(AgentSelfTest, KeepsItsKeyToItself) {
    std::map<std::string, std::unique_ptr<SelfTest>> running; // by the key
    for (const std::string& provider : providers) {
        const std::string key = keyFor(provider).begin()->second.value();
        ModelReply slow = failWith(503, key);
        slow.delay = 500ms;
        running[key] = std::make_unique<SelfTest>(
            provider, std::vector<ModelReply>{
                          slow, callTool("fetch_url", {{"url", "no:" + provider}}), cutConnection(),
                          callTool("web_search", {{"query", "rain"}}), failWith(410, key),
                          failWith(400, "The key " + key + " is wrong."), failWith(400, key)});
    }
    for (auto& [key, test] : running) {
        const auto& tavik = test->tavik;
        EXPECT_TRUE(tavik->prints("[selftest] task"));
        const std::string process = fmt::format("/proc/{}/cmdline", tavik->process().pid());
        EXPECT_THAT(readFile(process), AllOf(HasSubstr("--selftest-agent"), Not(HasSubstr(key))));
    }
    for (auto& [key, test] : running) {
        EXPECT_THAT(test->finish(), HasSubstr("[selftest] FAIL: "));
        // What the program printed is one of the files.
        for (const auto& file : std::filesystem::recursive_directory_iterator(test->tavik->home()))
            if (file.is_regular_file()) {
                EXPECT_THAT(readFile(file.path()), Not(HasSubstr(key))) << file.path();
            }
    }
}

} // namespace tavik
