#include "agent/AgentSession.h"
#include "agent/Audit.h"
#include "app/Log.h"
#include "tests/agent/ScriptedBrain.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr const char* suppressed =
    "NOT EXECUTED: this exact call has already been tried 3 times. Do not repeat it. Try a "
    "genuinely "
    "different approach, or stop and tell the user plainly what failed.";
constexpr const char* stopped =
    "NOT EXECUTED: the action batch was stopped. Re-observe the desktop "
    "before planning another action.";

class AgentSessionTest : public testing::Test {
protected:
    AgentSessionTest() { Audit::clearHistory(); }

    AgentResult say(const std::string& command) { return session.handle(command, {}, {}); }

    std::string userText(std::size_t index) const {
        return std::get<UserMessage>(session.messages().at(index)).text;
    }

    std::shared_ptr<ScriptedBrain> brain = std::make_shared<ScriptedBrain>();
    FakeHttpSession http;
    AgentSession session{brain, "session", surroundedBy(http)};
};

TEST_F(AgentSessionTest, EveryCommandIsPrecededByWhatIsOnTheDesktop) {
    AgentSurroundings around = surroundedBy(http);
    std::vector<std::string> open;
    for (int number = 1; number <= 13; ++number)
        open.push_back("App " + std::to_string(number));
    DesktopContext context{"", open};
    around.readContext = [&context](std::stop_token) { return context; };
    around.buildToolbox = [](std::stop_token) {
        return DesktopToolbox({}, "the desktop-control engine failed to start");
    };
    around.recap = [](const std::string& current) { return "[Before " + current + "]"; };
    AgentSession desktop(brain, "session", around);

    desktop.handle("open it", {}, {});
    context = {"Mail", {}};
    desktop.handle("close it", {}, {});

    EXPECT_EQ(
        std::get<UserMessage>(desktop.messages()[0]).text,
        "[Before session]\n[Note: desktop-control tools are unavailable right now: the "
        "desktop-control engine failed to start]\n"
        "[Frontmost app: unknown. Open apps: App 1, App 2, App 3, App 4, App 5, App 6, App 7, "
        "App 8, App 9, App 10, App 11, App 12.]\nopen it");
    EXPECT_EQ(std::get<UserMessage>(desktop.messages()[2]).text,
              "[Note: desktop-control tools are unavailable right now: the desktop-control engine "
              "failed to start]\n[Frontmost app: Mail. Open apps: .]\nclose it");
}

TEST_F(AgentSessionTest, ToolResultsGoBackUntilTheModelAnswers) {
    brain->will(calling({searchFor("1", "rain"), searchFor("2", "wind")}));
    brain->will(calling({searchFor("3", "sun")}));
    brain->will(saying("It’s dry."));

    const AgentResult result = say("weather?");

    EXPECT_EQ(result.text, "It’s dry.");
    EXPECT_EQ(result.outcome, AgentOutcome::normal);
    EXPECT_THAT(toolResults(session.messages()),
                ElementsAre("found rain", "found wind", "found sun"));
    EXPECT_THAT(
        auditedEvents(),
        ElementsAre(R"({"event":"command","chars":8,"brain":"anthropic/scripted"})",
                    testing::MatchesRegex(
                        R"(\{"event":"tool","name":"web_search","success":true,"ms":[0-9]+\})"),
                    HasSubstr("tool"), HasSubstr("tool"),
                    R"({"event":"answer","ok":true,"chars":9})"));
}

TEST_F(AgentSessionTest, AnEndingCallWinsOverTheRestOfItsBatch) {
    struct Case {
        std::vector<std::string> calls;
        AgentOutcome outcome;
        std::string event;
    };
    const Case cases[] = {
        {{"web_search", "end_conversation"}, AgentOutcome::endConversation, "endConversation"},
        {{"pause_listening", "web_search"}, AgentOutcome::pauseListening, "pauseListening"},
        {{"pause_listening", "end_conversation"}, AgentOutcome::endConversation, "endConversation"},
    };
    for (const Case& example : cases) {
        Audit::clearHistory();
        AgentSession fresh(brain, "session", surroundedBy(http));
        BrainReply reply = saying("Okay.");
        for (const std::string& name : example.calls)
            reply.toolCalls.push_back({name, name, {{"query", "x"}}});
        brain->will(reply);

        const AgentResult result = fresh.handle("stop", {}, {});

        EXPECT_EQ(result.text, "Okay.");
        EXPECT_EQ(result.outcome, example.outcome);
        EXPECT_THAT(toolResults(fresh.messages()), ElementsAre(stopped, stopped));
        EXPECT_EQ(auditedEvents().back(),
                  R"({"event":"answer","ok":true,")" + example.event + R"(":true})");
    }
    EXPECT_TRUE(brain->searches.empty());
}

TEST_F(AgentSessionTest, AnIdenticalCallRunsThreeTimesInACommand) {
    const Json sameInAnyOrder[] = {{{"query", "x"}, {"depth", 1}}, {{"depth", 1}, {"query", "x"}}};
    for (int time = 0; time < 5; ++time)
        brain->will(calling({{"id", "web_search", sameInAnyOrder[time % 2]}}));
    brain->will(calling({searchFor("other", "y")}));

    say("try");
    EXPECT_THAT(toolResults(session.messages()),
                ElementsAre("found x", "found x", "found x", suppressed, suppressed, "found y"));
    EXPECT_THAT(
        auditedEvents(),
        testing::Contains(R"({"event":"guard","decision":"repeat_suppressed","tool":"web_search"})")
            .Times(2));

    brain->will(calling({{"id", "web_search", sameInAnyOrder[0]}}));
    say("again");
    EXPECT_EQ(toolResults(session.messages()).back(), "found x");
}

TEST_F(AgentSessionTest, TheModelIsToldOnceThatAToolKeepsFailing) {
    // One letter for a result of each kind: a failure, or a success.
    const std::string results = "FFSFFFFSFFF";
    std::size_t next = 0;
    brain->search = [&](const std::string&, std::stop_token) {
        return results[next++] == 'F' ? "TOOL ERROR: broken" : "fine";
    };
    for (std::size_t call = 0; call < results.size(); ++call)
        brain->will(calling({searchFor("id", std::to_string(call))}));

    say("try");

    std::string noted;
    for (const std::string& result : toolResults(session.messages()))
        noted +=
            result.ends_with("\n[Tavik: this tool has now failed 3 times in a row. Stop retrying "
                             "it — use a different tool or strategy, or tell the user plainly "
                             "what failed.]")
                ? 'N'
                : '.';
    EXPECT_EQ(noted, ".....N....N");
}

TEST_F(AgentSessionTest, AnEmptyAnswerNamesTheProvider) {
    const std::pair<const char*, const char*> cases[] = {
        {"openai/gpt", "Openai"}, {"big model/x/y", "Big Model"}, {"xai", "Xai"}, {"", "The brain"},
        {"/x", "The brain"},
    };
    for (const auto& [label, word] : cases) {
        brain->name = label;
        brain->will(BrainReply{});
        try {
            say("hello");
            ADD_FAILURE() << label;
        } catch (const BrainError& error) {
            EXPECT_EQ(error.message, std::string(word) + " sent back an empty answer. Try again.");
        }
    }
}

TEST_F(AgentSessionTest, ARunStopsAfterFortySteps) {
    for (int step = 0; step < 50; ++step)
        brain->will(calling({searchFor("id", std::to_string(step))}));

    EXPECT_EQ(say("count").text,
              "I stopped after 40 steps without finishing — tell me to keep going, "
              "or try rephrasing the task.");
    EXPECT_EQ(brain->chats, 40);
    EXPECT_EQ(auditedEvents().back(), R"({"event":"answer","ok":false,"reason":"max_steps"})");
}

TEST_F(AgentSessionTest, AFailureOfTheModelPassesOutAndTheConversationGoesOn) {
    brain->will(calling({searchFor("1", "x")}));
    brain->will([](std::stop_token) -> BrainReply { throw BrainError("No luck."); });

    EXPECT_THROW(say("first"), BrainError);
    EXPECT_EQ(say("second").text, "Done.");
    EXPECT_THAT(userText(3), EndsWith("\nsecond"));
}

TEST_F(AgentSessionTest, WithoutAToolboxTheModelIsNotAsked) {
    AgentSurroundings around;
    around.buildToolbox = [](std::stop_token) { return std::nullopt; };
    AgentSession toolless(brain, "session", around);
    try {
        toolless.handle("hello", {}, {});
        ADD_FAILURE();
    } catch (const BrainError& error) {
        EXPECT_EQ(error.message, "Tool setup failed.");
    }
    EXPECT_EQ(brain->chats, 0);
}

TEST_F(AgentSessionTest, TheModelCannotForgeALogLine) {
    brain->will(calling({{"1", "x\n[12:00:00.000] [agent] forged", {}}}));

    say("hello");

    TavikLog::flush();
    const std::string log = readFile(TavikLog::path());
    EXPECT_THAT(log, HasSubstr("[agent] → x [12:00"));
    EXPECT_THAT(log, Not(HasSubstr("\n[12:00:00.000] [agent] forged")));
}

} // namespace
} // namespace tavik
