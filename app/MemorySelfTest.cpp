#include "app/MemorySelfTest.h"

#include "agent/SessionID.h"
#include "app/Log.h"
#include "memory/MemoryStore.h"
#include "memory/summaries/MakeSummarizer.h"
#include "platform/defaults/UserDefaults.h"

#include <chrono>
#include <fmt/format.h>

namespace tavik {

namespace {

constexpr int daysBack = 1;

void logSearch(MemoryStore& store, const std::string& query) {
    log(fmt::format("[selftest-memory] search(\"{}\"): {}", query, store.search(query, daysBack)));
}

void logRecap(MemoryStore& store) {
    // For a new conversation, so that the one just recorded counts as an earlier one.
    if (const auto recap = store.recentRecapContext(makeSessionID()))
        log("[selftest-memory] PASS recap: " + *recap);
    else
        log("[selftest-memory] FAIL — no recap returned for a session recorded seconds ago");
}

} // namespace

void runMemorySelfTest(std::stop_token stop) {
    UserDefaults::standard().set("rememberConversations", true);
    log("[selftest-memory] model availability: " + makeSummarizer()->availability(stop));
    MemoryStore& store = MemoryStore::shared();
    store.onIssue([](const std::string& issue) { log("[memory] ⚠ " + issue); });
    const std::string session = makeSessionID();
    const auto now = std::chrono::system_clock::now();
    store.record(session, "user", "What's a good name for a golden retriever puppy?", now);
    store.record(session, "assistant",
                 "How about Biscuit, Maple, or Scout? All friendly names that suit a golden "
                 "retriever.",
                 now);
    log("[selftest-memory] recorded 2 turns for session " + session);
    store.summarize(session, stop);
    logRecap(store);
    logSearch(store, "puppy");
    logSearch(store, "quantum physics");
    log("[selftest-memory] DONE (seeded conversation left in the store)");
}

} // namespace tavik
