#include "agent/AgentSession.h"
#include "brains/BrainCatalogue.h"
#include "brains/MakeBrain.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Task.h"
#include "platform/defaults/UserDefaults.h"
#include "tests/agent/ScriptedBrain.h"
#include "tests/support/SimulatedClock.h"
#include "tools/stand-ins/model/DemoRules.h"
#include "tools/stand-ins/model/ScriptedModel.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <chrono>
#include <cstdlib>
#include <fmt/format.h>
#include <thread>

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using namespace std::chrono_literals;

// A real session with a real client and real connections; the model at their end is scripted.
class ProviderConversation : public testing::TestWithParam<const char*> {
protected:
    ProviderConversation() {
        const BrainProvider& provider = brainProvider(GetParam());
        setenv(provider.keyEnvironment.c_str(), "secret", 1);
        settings.set("provider", GetParam());
        settings.set(provider.hostSetting, model.host());
        model.acceptOnlyKey("secret");
        session.emplace(makeBrain(settings, *http, clock), "session", surroundedBy(*http));
    }
    ~ProviderConversation() override { unsetenv(brainProvider(GetParam()).keyEnvironment.c_str()); }

    std::string ask(const std::string& command) { return session->handle(command, {}, {}).text; }

    TemporaryFolder folder;
    UserDefaults settings{folder.file("settings.json")};
    ScriptedModel model;
    std::unique_ptr<HttpSession> http = makeHttpSession();
    SimulatedClock clock; // for the pauses between attempts
    std::optional<AgentSession> session;
};

TEST_P(ProviderConversation, ReadsAPageAndAnswersFromItAndThenAFollowUp) {
    for (ModelRule& rule : demoRules(model.servePage(demoPagePath, demoPage)))
        model.addRule(std::move(rule));

    EXPECT_EQ(ask("when does the library open"),
              "The library is open Monday to Friday from nine in the morning to eight in the "
              "evening.");
    EXPECT_EQ(ask("and on saturday"), "The library is open on Saturday from ten in the morning to "
                                      "four in the afternoon.");
    EXPECT_EQ(ask("what is twenty one plus three"), "The result of that calculation is 24.");
    EXPECT_EQ(ask("colourless green ideas"), "You said: colourless green ideas.");
    EXPECT_EQ(session->handle("please stop", {}, {}).outcome, AgentOutcome::endConversation);
    EXPECT_EQ(session->handle("stop listening", {}, {}).outcome, AgentOutcome::pauseListening);
    // The client keeps its connection from one step to the next.
    EXPECT_LE(model.connectionCount(), 2);
}

TEST_P(ProviderConversation, RunsSeveralToolsOfSeveralSteps) {
    model.searchWhen({"rain"}, "It rains.");
    const std::string page = model.servePage("/wind", "<p>It is windy.</p>", "text/html");
    model.addRule({[](const ModelTurn&) { return true; },
                   [page](const ModelTurn& turn) {
                       if (turn.toolResults.size() < 2) {
                           ModelReply reply = callTool("web_search", {{"query", "rain"}});
                           reply.text = "Let me see.";
                           reply.calls.push_back({"fetch_url", {{"url", page}}});
                           return reply;
                       }
                       if (turn.toolResults.size() == 2)
                           return callTool("no_such_tool", Json::object());
                       return say(turn.toolResults[0] + " " + turn.toolResults[1]);
                   }});

    EXPECT_EQ(ask("how is the weather"), "It rains. It is windy.");
    EXPECT_THAT(toolResults(session->messages()),
                ElementsAre("It rains.", "It is windy.",
                            "TOOL ERROR: This tool is not available to Tavik."));
}

// The model checks every request of the growing transcript, the calls replayed in it included.
TEST_P(ProviderConversation, GoesThroughTenStepsOfToolsAndAFollowUp) {
    settings.set("brainEffort", "low");
    for (const std::string command : {"first", "again"}) {
        std::vector<ModelReply> replies;
        for (int step = 0; step < 10; ++step) {
            const std::string path = fmt::format("/{}/{}", command, step);
            replies.push_back(callTool(
                "fetch_url", {{"url", model.servePage(path, "<p>" + path + "</p>", "text/html")}}));
        }
        replies[4].text = "Halfway.";
        replies[7].calls.push_back({"web_search", {{"query", "schrödinger’s \"cat\""}}});
        replies.push_back(say("Found."));
        replies.insert(replies.begin() + 8, say("Searched.")); // what the search is answered
        model.replyNext(std::move(replies));
        EXPECT_EQ(ask(command), "Found.");
    }
    const auto results = toolResults(session->messages());
    ASSERT_EQ(results.size(), 22u);
    EXPECT_EQ(results[8], "Searched.");
    EXPECT_EQ(results[21], "/again/9");
    EXPECT_LE(model.connectionCount(), 2);
}

TEST_P(ProviderConversation, AFailedOrEndedRunLeavesATranscriptThatTheProviderAccepts) {
    model.replyNext({callTool("fetch_url", {{"url", model.host() + "/none"}}),
                     failWith(400, "bad schema"), say("Fine.")});

    EXPECT_THROW(ask("first"), BrainError);
    EXPECT_EQ(ask("second"), "Fine.");

    model.replyNext({callTool("end_conversation", Json::object()), say("Still here.")});
    EXPECT_EQ(ask("third"), "");
    EXPECT_EQ(ask("fourth"), "Still here.");
}

TEST_P(ProviderConversation, AStopIsHonouredWhileTheProviderThinks) {
    ModelReply slow = say("too late");
    slow.delay = 30s;
    model.replyNext({slow});
    Task<AgentResult> run(
        [this](std::stop_token stop) { return session->handle("think", {}, std::move(stop)); });
    while (model.requests().empty())
        std::this_thread::sleep_for(1ms);

    const auto requested = std::chrono::steady_clock::now();
    run.cancel();
    EXPECT_THROW(run.get(), Cancelled);
    EXPECT_LT(std::chrono::steady_clock::now() - requested, 50ms);
}

TEST_P(ProviderConversation, AConnectionCutOnceIsTriedAgain) {
    model.replyNext({cutConnection(), say("Here.")});
    EXPECT_EQ(ask("hello"), "Here.");
    EXPECT_EQ(model.requests().size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(AllProviders, ProviderConversation,
                         testing::Values("anthropic", "openai", "gemini", "xai"),
                         [](const auto& provider) { return std::string(provider.param); });

} // namespace
} // namespace tavik
