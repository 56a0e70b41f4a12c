#include "app/AgentSelfTest.h"

#include "agent/AgentSession.h"
#include "app/KeyMigration.h"
#include "app/Log.h"
#include "brains/MakeBrain.h"

namespace tavik {

namespace {

std::string ending(AgentOutcome outcome) {
    switch (outcome) {
    case AgentOutcome::endConversation:
        return " [end_conversation]";
    case AgentOutcome::pauseListening:
        return " [pause_listening]";
    case AgentOutcome::normal:
        break;
    }
    return "";
}

} // namespace

void runAgentSelfTest(const std::string& task, std::stop_token stop) {
    log("[selftest] task: " + task);
    const auto migration = migrateKeysMeanwhile();
    // This build has no desktop control yet, so it holds neither right.
    log("[selftest] app AX trusted: false, screen: false");
    try {
        auto brain = makeBrain(stop);
        if (!brain) {
            log("[selftest] FAIL: no brain — missing key");
            return;
        }
        AgentSession session(std::move(brain));
        const AgentResult result = session.handle(
            task, [] { return false; }, std::move(stop));
        log("[selftest] ANSWER: " + result.text + ending(result.outcome));
    } catch (const std::exception& error) {
        log(std::string("[selftest] FAIL: ") + error.what());
    }
}

} // namespace tavik
