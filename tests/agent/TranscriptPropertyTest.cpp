#include "agent/AgentSession.h"
#include "platform/concurrency/Cancelled.h"
#include "tests/agent/ScriptedBrain.h"

#include <random>

namespace tavik {
namespace {

// Replies, tool results and cancellations by chance.
class RandomModel {
public:
    explicit RandomModel(unsigned seed)
        : random(seed) {
        brain->search = [this](const std::string&, std::stop_token) { return toolResult(); };
    }

    void command(AgentSession& session) {
        stop = std::stop_source();
        brain->steps.clear();
        for (int step = 0; step < 50; ++step)
            brain->will([this](std::stop_token) { return reply(); });
        try {
            session.handle(
                chance(2) ? "yes" : "go", [this] { return chance(80); }, stop.get_token());
        } catch (const BrainError&) {
        } catch (const Cancelled&) {
        }
    }

    std::shared_ptr<ScriptedBrain> brain = std::make_shared<ScriptedBrain>();

private:
    bool chance(unsigned oneIn) { return random() % oneIn == 0; }

    BrainReply reply() {
        if (chance(30))
            throw BrainError("No luck.");
        if (chance(40))
            stop.request_stop();
        if (chance(15))
            return chance(3) ? BrainReply{} : saying("Here.");
        BrainReply reply;
        for (unsigned count = 1 + random() % 4; count > 0; --count)
            reply.toolCalls.push_back(call());
        return reply;
    }

    ToolCall call() {
        const char* names[] = {"web_search", "fetch_url", "no_such_tool"};
        const std::string id = "call " + std::to_string(random() % 3); // some come twice
        if (chance(60))
            return {id, chance(2) ? "end_conversation" : "pause_listening", {}};
        if (chance(12)) // refused, or held until the next command says yes
            return {id, "type_text", {{"text", chance(3) ? "sudo rm -rf /" : "git push"}}};
        return {id, names[random() % 3], {{"query", std::to_string(random() % 2)}}};
    }

    std::string toolResult() {
        if (chance(20))
            stop.request_stop();
        if (chance(10))
            throw std::runtime_error("broken");
        return chance(2) ? "TOOL ERROR: broken" : "fine";
    }

    std::mt19937 random;
    std::stop_source stop;
};

using CallAndName = std::pair<std::string, std::string>;

// The calls of a transcript and its results must be the same list, each batch right behind its
// reply.
void expectEveryCallAnsweredOnce(const std::vector<AgentMessage>& messages) {
    std::vector<CallAndName> waiting;
    for (const AgentMessage& message : messages) {
        if (const auto* result = std::get_if<ToolResultMessage>(&message)) {
            ASSERT_FALSE(waiting.empty()) << "a result without a call";
            EXPECT_EQ(waiting.front(), CallAndName(result->callID, result->name));
            waiting.erase(waiting.begin());
            continue;
        }
        ASSERT_TRUE(waiting.empty()) << "a call without a result";
        if (const auto* reply = std::get_if<AssistantMessage>(&message))
            for (const ToolCall& call : reply->toolCalls)
                waiting.emplace_back(call.id, call.name);
    }
    EXPECT_TRUE(waiting.empty()) << "a call without a result at the end";
}

TEST(TranscriptProperty, EveryCallHasOneResultWhateverHappens) {
    std::size_t results = 0;
    for (unsigned seed = 0; seed < 400; ++seed) {
        RandomModel model(seed);
        AgentSession session(model.brain, "session");
        for (int command = 0; command < 3; ++command) {
            model.command(session);
            expectEveryCallAnsweredOnce(session.messages());
            ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
        }
        results += toolResults(session.messages()).size();
    }
    EXPECT_GT(results, 3000u); // the runs did get somewhere
    for (const std::string decision :
         {"hard_block", "confirm_required", "confirmed", "repeat_suppressed"})
        EXPECT_THAT(auditedEvents(), // which parses every line of the file
                    testing::Contains(testing::HasSubstr(decision)));
}

} // namespace
} // namespace tavik
