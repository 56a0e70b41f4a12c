#include "agent/AgentSession.h"
#include "platform/concurrency/Cancelled.h"
#include "tests/agent/ScriptedBrain.h"

#include <chrono>
#include <semaphore>
#include <thread>

namespace tavik {
namespace {

using testing::ElementsAre;
using namespace std::chrono_literals;

constexpr const char* interrupted = "TOOL ERROR: Interrupted while waiting. The action may already "
                                    "have happened; observe the desktop "
                                    "before deciding what to do next.";
constexpr const char* stopped =
    "NOT EXECUTED: the action batch was stopped. Re-observe the desktop "
    "before planning another action.";

class AgentCancellation : public testing::Test {
protected:
    // Runs a command, requests the stop once the model or a tool waits, and measures from there.
    std::optional<AgentResult> stopWhileWaiting() {
        std::stop_source stop;
        std::chrono::steady_clock::time_point requested;
        std::jthread stopper([&] {
            waiting.acquire();
            requested = std::chrono::steady_clock::now();
            stop.request_stop();
        });
        std::optional<AgentResult> result;
        try {
            result = session->handle("go", {}, stop.get_token());
        } catch (const Cancelled&) {
        }
        const auto end = std::chrono::steady_clock::now();
        stopper.join();
        EXPECT_LT(end - requested, 50ms);
        return result;
    }

    std::shared_ptr<ScriptedBrain> brain = std::make_shared<ScriptedBrain>();
    FakeHttpSession http;
    std::optional<AgentSession> session{std::in_place, brain, "session", surroundedBy(http)};
    std::binary_semaphore waiting{0};
};

TEST_F(AgentCancellation, AStopEndsTheWaitForTheModel) {
    brain->will([this](std::stop_token stop) {
        waiting.release();
        waitForStop(stop);
        return saying("too late");
    });

    EXPECT_FALSE(stopWhileWaiting().has_value());
    EXPECT_EQ(session->messages().size(), 1u);
}

TEST_F(AgentCancellation, AStopEndsTheToolAndTheBatch) {
    http.answer = [this](const HttpRequest&, std::stop_token stop) {
        waiting.release();
        waitForStop(stop);
        return HttpResponse{};
    };
    const ToolCall fetch{"2", "fetch_url", {{"url", "http://page/"}}};
    brain->will(calling({searchFor("1", "x"), fetch, searchFor("3", "y"), searchFor("4", "z")}));

    const auto result = stopWhileWaiting();

    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->text, "");
    EXPECT_THAT(toolResults(session->messages()),
                ElementsAre("found x", interrupted, stopped, stopped));
    EXPECT_EQ(session->handle("and now", {}, {}).text, "Done.");
}

TEST_F(AgentCancellation, AStopEndsTheLooksAtTheDesktopAndTheClipboard) {
    const auto wait = [this](std::stop_token stop) {
        waiting.release();
        waitForStop(std::move(stop));
    };
    AgentSurroundings around = surroundedBy(http);
    around.readContext = [&](std::stop_token stop) {
        wait(std::move(stop));
        return DesktopContext{};
    };
    session.emplace(brain, "session", around);
    EXPECT_FALSE(stopWhileWaiting().has_value());
    EXPECT_TRUE(session->messages().empty());

    around.readContext = [](std::stop_token) { return DesktopContext{}; };
    around.clipboard = [&](std::stop_token stop) {
        wait(std::move(stop));
        return "";
    };
    session.emplace(brain, "session", around);
    brain->will(calling({{"1", "press_key", {{"keys", "cmd+v"}}}}));
    EXPECT_FALSE(stopWhileWaiting().has_value());
    EXPECT_THAT(toolResults(session->messages()), ElementsAre(stopped));
}

TEST_F(AgentCancellation, AnActionThatEndedAfterTheStopIsReportedAsInterrupted) {
    std::stop_source stop;
    brain->search = [&stop](const std::string&, std::stop_token) {
        stop.request_stop();
        return "found it";
    };
    brain->will(calling({searchFor("1", "x")}));

    EXPECT_THROW(session->handle("go", {}, stop.get_token()), Cancelled);
    EXPECT_THAT(toolResults(session->messages()), ElementsAre(interrupted));
}

TEST_F(AgentCancellation, TheQuestionIsAskedBeforeAndAfterTheModelAndBeforeEachTool) {
    // The transcript's length at the end, by the number of questions answered with no.
    const std::size_t lengths[] = {1, 1, 4, 4};
    for (std::size_t noes = 0; noes < std::size(lengths); ++noes) {
        AgentSession fresh(brain, "session", surroundedBy(http));
        brain->steps.clear();
        brain->searches.clear();
        brain->will(calling({searchFor("1", "x"), searchFor("2", "y")}));
        std::size_t asked = 0;

        const AgentResult result = fresh.handle("go", [&] { return asked++ >= noes; }, {});

        EXPECT_EQ(result.text, "");
        EXPECT_EQ(result.outcome, AgentOutcome::normal);
        EXPECT_EQ(fresh.messages().size(), lengths[noes]) << noes;
        EXPECT_EQ(brain->searches.size(), noes == 3 ? 1u : 0u) << noes;
    }
}

} // namespace
} // namespace tavik
