#include "app/MemoryKeeper.h"

#include "agent/Audit.h"
#include "app/Log.h"
#include "memory/MemoryStore.h"

#include <chrono>
#include <utility>

namespace tavik {

MemoryKeeper::MemoryKeeper(std::function<void(const std::string&)> notify) {
    summaries.async([this, notify = std::move(notify)](std::stop_token) {
        MemoryStore& store = MemoryStore::shared();
        store.alsoClear([] { Audit::clearHistory(); });
        store.onIssue(notify);
        summarize(store.sessionsWithoutSummary());
    });
}

MemoryKeeper::~MemoryKeeper() {
    ending.request_stop();
}

void MemoryKeeper::remember(const std::string& sessionID, const std::string& role,
                            const std::string& text) {
    const auto now = std::chrono::system_clock::now();
    turns.async([this, sessionID, role, text, now] {
        MemoryStore::shared().record(sessionID, role, text, now, ending.get_token());
    });
}

void MemoryKeeper::conversationEnded(const std::string& sessionID) {
    turns.async([this, sessionID] { summarize({sessionID}); }); // once its turns are written
}

// One a job, so that a conversation that has just ended waits for one of them at most.
void MemoryKeeper::summarize(std::vector<std::string> sessions) {
    if (sessions.empty())
        return;
    summaries.async([this, sessions = std::move(sessions)](std::stop_token stop) {
        MemoryStore::shared().summarize(sessions.front(), std::move(stop));
        summarize({sessions.begin() + 1, sessions.end()});
    });
}

} // namespace tavik
