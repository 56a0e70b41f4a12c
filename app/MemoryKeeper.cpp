#include "app/MemoryKeeper.h"

#include "agent/Audit.h"
#include "app/Log.h"
#include "memory/MemoryStore.h"
#include "platform/concurrency/Cancelled.h"

#include <chrono>
#include <utility>

namespace tavik {

MemoryKeeper::MemoryKeeper() {
    inBackground([](std::stop_token stop) {
        MemoryStore& store = MemoryStore::shared();
        store.alsoClear([] { Audit::clearHistory(); });
        store.onIssue([](const std::string& issue) { log("[memory] ⚠ " + issue); });
        store.summarizeLeftOver(std::move(stop));
    });
}

MemoryKeeper::~MemoryKeeper() {
    ending.request_stop();
}

void MemoryKeeper::remember(const std::string& sessionID, const std::string& role,
                            const std::string& text) {
    MemoryStore::shared().record(sessionID, role, text, std::chrono::system_clock::now());
}

void MemoryKeeper::conversationEnded(const std::string& sessionID) {
    inBackground([sessionID](std::stop_token stop) {
        MemoryStore::shared().summarize(sessionID, std::move(stop));
    });
}

void MemoryKeeper::inBackground(std::function<void(std::stop_token)> work) {
    queue.async([work = std::move(work), stop = ending.get_token()] {
        try {
            if (!stop.stop_requested())
                work(stop);
        } catch (const Cancelled&) {
            // The program ends.
        }
    });
}

} // namespace tavik
