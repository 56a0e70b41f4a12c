#include "tests/agent/GuardrailsTest.h"

#include "tests/agent/ScriptedBrain.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <thread>

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const ToolCall deleteButton = {"id", "click_element", {{"role", "button"}, {"label", "Delete"}}};
constexpr const char* held = "held: activating \"Delete\"";

std::string logText() {
    TavikLog::flush();
    return readFile(TavikLog::path());
}

TEST_F(GuardrailsTest, OnlyAPlainYesLetsTheHeldCallPassAndOnlyOnce) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"runs",
         {"Yes, please!", "YES", " \t«Go»\nahead… ", "do-it", "Yes: do it.", "yes_go_ahead",
          "confirm", "Confirmed?", "proceed", "yes\u00A0proceed"}},
        {held,
         {"yes but not that one", "yes yes", "no", "", "...", "okay", "ye s", "yes$", "yes\u200B"}},
    };
    int turn = 0;
    for (const auto& [outcomeThen, replies] : cases)
        for (const std::string& reply : replies) {
            EXPECT_EQ(check(deleteButton, turn), held);
            guardrails.beginUserTurn(reply, ++turn);
            EXPECT_EQ(check(deleteButton, turn), outcomeThen) << reply;
            EXPECT_EQ(check(deleteButton, turn), held) << reply;
            guardrails.beginUserTurn("never mind", ++turn);
        }
}

TEST_F(GuardrailsTest, AYesIsForTheCallThatWasHeldLastAndForTheTurnThatFollows) {
    ToolCall reordered = deleteButton;
    reordered.args = {{"label", "Delete"}, {"role", "button"}};
    ToolCall other = deleteButton;
    other.args["role"] = "menu item";
    ToolCall otherTool = deleteButton;
    otherTool.name = "click";

    check(deleteButton, 0);
    guardrails.beginUserTurn("yes", 1);
    EXPECT_EQ(check(deleteButton, 2), held); // no such turn
    guardrails.beginUserTurn("yes", 3);      // to the call of the line before
    EXPECT_EQ(check(other, 3), held);
    EXPECT_EQ(check(otherTool, 3), held);
    EXPECT_EQ(check(reordered, 3), "runs");

    guardrails.beginUserTurn("yes", 4); // to the other tool
    EXPECT_EQ(check(other, 4), held);
    EXPECT_EQ(check(otherTool, 4), "runs");

    guardrails.beginUserTurn("yes", 5);
    guardrails.beginUserTurn("yes", 6); // nothing waits any more
    EXPECT_EQ(check(other, 6), held);
}

TEST_F(GuardrailsTest, ARefusalCannotBeConfirmedAway) {
    const ToolCall call = typing("rm -rf ~");
    check(call, 0);
    guardrails.beginUserTurn("yes", 1);
    const std::string refused = "refused: recursive delete of the root or home directory";
    EXPECT_EQ(check(call, 1), refused);
    EXPECT_EQ(outcome(guardrails.checkMCP(call, false)), refused);
    EXPECT_EQ(outcome(guardrails.checkMCP(call, true)), refused);
    EXPECT_THAT(auditedEvents().back(), HasSubstr(R"("source":"mcp")"));
}

TEST_F(GuardrailsTest, AnExternalAgentConfirmsInTheCallItself) {
    EXPECT_EQ(outcome(guardrails.checkMCP(deleteButton, false)),
              "held for an agent: activating \"Delete\"");
    EXPECT_EQ(outcome(guardrails.checkMCP(deleteButton, true)), "runs");
    EXPECT_EQ(outcome(guardrails.checkMCP(typing("hello"), false)), "runs");
    guardrails.beginUserTurn("yes", 1);
    EXPECT_EQ(check(deleteButton, 1), held); // what the agent was told is no question to the user

    EXPECT_THAT(
        auditedEvents(),
        ElementsAre(R"({"event":"guard","decision":"confirm_required","tool":"click_element",)"
                    R"("reason":"activating \"Delete\"","target":"Delete button","source":"mcp"})",
                    R"({"event":"guard","decision":"confirmed","tool":"click_element",)"
                    R"("reason":"activating \"Delete\"","source":"mcp"})",
                    HasSubstr("confirm_required")));
    EXPECT_THAT(logText(), HasSubstr("[guard] CONFIRM required for mcp click_element: activating "
                                     "\"Delete\"\n"));
    EXPECT_THAT(logText(), HasSubstr("[guard] mcp caller confirmed — allowing click_element "
                                     "(activating \"Delete\")\n"));
}

TEST_F(GuardrailsTest, EveryDecisionIsLoggedAndAuditedUnderTheToolsOwnName) {
    const ToolCall paste = {"id", "press_key", {{"keys", "cmd+v"}}};
    clipboard = "sudo rm";
    check(paste, 0);
    clipboard = "git push";
    check(paste, 0);
    guardrails.beginUserTurn("yes", 1);
    check(paste, 1);

    EXPECT_THAT(
        auditedEvents(),
        ElementsAre(R"({"event":"guard","decision":"hard_block","tool":"press_key",)"
                    R"("reason":"rm as root","target":"cmd+v sudo rm"})",
                    R"({"event":"guard","decision":"confirm_required","tool":"press_key",)"
                    R"("reason":"pushing to a remote repository","target":"cmd+v git push"})",
                    R"({"event":"guard","decision":"confirmed","tool":"press_key",)"
                    R"("reason":"pushing to a remote repository"})"));
    for (const char* line :
         {"[guard] HARD BLOCK press_key: rm as root\n",
          "[guard] CONFIRM required for press_key: pushing to a remote repository\n",
          "[guard] confirmed after user turn — allowing press_key (pushing to a remote "
          "repository)\n"})
        EXPECT_THAT(logText(), HasSubstr(line));
}

TEST_F(GuardrailsTest, TheAuditGetsTheBeginningOfTheText) {
    std::string umlauts;
    for (int count = 0; count < 100; ++count)
        umlauts += "u\u0308";
    check(typing(umlauts + std::string(200, 'x') + " sudo"), 0);
    EXPECT_EQ(Json::parse(auditedEvents().back())["target"], umlauts + std::string(100, 'x'));

    std::string endless = "sudo a";
    for (int count = 0; count < 100'000; ++count)
        endless += "\u0308";
    check(typing(endless), 0);
    EXPECT_LT(auditedEvents().back().size(), 10'000u);
}

TEST_F(GuardrailsTest, ExternalAgentsMayAskAtOnce) {
    const Guardrails server([](std::stop_token) { return "sudo"; });
    std::vector<std::jthread> agents;
    for (int agent = 0; agent < 8; ++agent)
        agents.emplace_back([&server] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_TRUE(server.checkMCP({"id", "press_key", {{"keys", "cmd+v"}}}, false));
                EXPECT_FALSE(server.checkMCP(deleteButton, true));
                EXPECT_FALSE(server.checkMCP(typing("hello"), false));
            }
        });
}

// The toolbox has no such tool yet; a call that passes the rules comes back with that word.
class GuardedSessionTest : public GuardrailsTest {
protected:
    std::shared_ptr<ScriptedBrain> brain = std::make_shared<ScriptedBrain>();
    FakeHttpSession http;
    AgentSession session{brain, "session", surroundedBy(http)};
};

TEST_F(GuardedSessionTest, AHeldCallEndsTheRunWithAQuestionAndAYesLetsItPass) {
    for (int time = 0; time < 3; ++time)
        brain->will(calling({deleteButton, searchFor("2", "x")}));
    const std::string question = "This involves activating \"Delete\". Do you want me to proceed? "
                                 "Please say yes or no.";

    const AgentResult first = session.handle("delete it", {}, {});
    EXPECT_EQ(first.text, question);
    EXPECT_EQ(first.outcome, AgentOutcome::normal);
    EXPECT_EQ(session.handle("Yes, please!", {}, {}).text, question); // for the third reply's call

    const auto results = toolResults(session.messages());
    ASSERT_EQ(results.size(), 6u);
    EXPECT_EQ(outcome(results[0]), held);
    EXPECT_EQ(results[1], "NOT EXECUTED: the action batch was stopped. Re-observe the desktop "
                          "before planning another action.");
    EXPECT_EQ(results[2], "TOOL ERROR: This tool is not available to Tavik.");
    EXPECT_EQ(results[3], "found x");
    EXPECT_EQ(outcome(results[4]), held);
    EXPECT_THAT(logText(), HasSubstr("[agent] ⛔ BLOCKED pending the user's confirmation: this is "
                                     "activating \"Delete\", which is irreversible. Ask the user "
                                     "out loud whether to proceed, and do nothing else. Only\n"));
}

TEST_F(GuardedSessionTest, ARefusedCallEndsTheRun) {
    brain->will(calling({typing("sudo rm x")}));
    EXPECT_EQ(session.handle("clean up", {}, {}).text,
              "I refused that action because it could seriously damage your Mac or files.");
    EXPECT_EQ(outcome(toolResults(session.messages()).back()), "refused: rm as root");
    EXPECT_EQ(brain->chats, 1);
}

} // namespace
} // namespace tavik
