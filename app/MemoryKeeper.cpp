#include "app/MemoryKeeper.h"

#include "agent/Audit.h"
#include "app/Log.h"
#include "memory/MemoryStore.h"

#include <chrono>
#include <utility>

namespace tavik {

MemoryKeeper::MemoryKeeper() {
    jobs.async([](std::stop_token stop) {
        MemoryStore& store = MemoryStore::shared();
        store.alsoClear([] { Audit::clearHistory(); });
        store.onIssue([](const std::string& issue) { log("[memory] ⚠ " + issue); });
        store.summarizeLeftOver(std::move(stop));
    });
}

void MemoryKeeper::remember(const std::string& sessionID, const std::string& role,
                            const std::string& text) {
    MemoryStore::shared().record(sessionID, role, text, std::chrono::system_clock::now());
}

void MemoryKeeper::conversationEnded(const std::string& sessionID) {
    jobs.async([sessionID](std::stop_token stop) {
        MemoryStore::shared().summarize(sessionID, std::move(stop));
    });
}

} // namespace tavik
