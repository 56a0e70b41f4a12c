#include "memory/MemoryStore.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "memory/Recall.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Text.h"

#include <exception>
#include <fmt/format.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto recapReach = 6h;
// A summary can lie ahead of a clock that was set back a little.
constexpr auto clockTolerance = 1min;
constexpr std::size_t printedEntries = 5;
constexpr std::size_t leftOverAtOnce = 20;

} // namespace

MemoryStore::MemoryStore(Surroundings around)
    : surroundings(std::move(around)) {
    try {
        database = std::make_unique<MemoryDatabase>(surroundings.path);
    } catch (const MemoryUnavailable& unavailable) {
        issue = unavailable.what();
        log("[memory] store unavailable — original files preserved");
    }
}

bool MemoryStore::isEnabled() {
    return surroundings.defaults.boolean("rememberConversations").value_or(true);
}

template<typename Result>
Result MemoryStore::withDatabase(Result otherwise,
                                 const std::function<Result(MemoryDatabase&)>& use) {
    const std::lock_guard lock(mutex);
    if (!database)
        return otherwise;
    try {
        return use(*database);
    } catch (const SqlError& error) {
        failed(error);
        return otherwise;
    }
}

// The library's own words name no content.
void MemoryStore::failed(const SqlError& error) {
    log(std::string("[memory] ⚠ ") + error.what());
    switch (error.kind) {
    case SqlError::Kind::full:
        return raise("The disk is full, so conversations are not remembered for now.");
    case SqlError::Kind::corrupt:
        database.reset();
        return raise("Conversation memory is unavailable: the history file is damaged. It has been "
                     "left as it was.");
    default:
        return raise("A conversation could not be remembered: the history file could not be "
                     "written or read.");
    }
}

void MemoryStore::raise(const std::string& sentence) {
    if (issue == sentence)
        return;
    issue = sentence;
    if (tellOfIssue)
        tellOfIssue(sentence);
}

void MemoryStore::record(const std::string& sessionID, const std::string& role,
                         const std::string& text, WallTime timestamp) {
    if (!isEnabled())
        return;
    withDatabase<bool>(false, [&](MemoryDatabase& open) {
        open.insert(ConversationTurn{sessionID, role, text, timestamp});
        issue.reset(); // a full disk may have got room again
        return true;
    });
}

void MemoryStore::summarize(const std::string& sessionID, std::stop_token stop) {
    const auto conversation = turns(sessionID);
    if (conversation.empty())
        return;
    try {
        const std::string sentence = surroundings.summarizer->summarize(conversation, stop);
        store(sessionID, sentence, conversation.back().timestamp);
    } catch (const Cancelled&) {
        throw;
    } catch (const std::exception&) {
        log("[memory] summary generation failed");
    }
}

void MemoryStore::store(const std::string& sessionID, const std::string& summary,
                        WallTime endedAt) {
    const bool isStored = withDatabase<bool>(false, [&](MemoryDatabase& open) {
        // Cleared while the sentence was made: then it must not come back.
        if (open.turns(sessionID).empty())
            return false;
        open.insert(ConversationSummary{sessionID, summary, endedAt});
        return true;
    });
    log(isStored ? "[memory] session summarized" : "[memory] summary generation failed");
}

void MemoryStore::summarizeLeftOver(std::stop_token stop) {
    if (!isEnabled())
        return;
    const auto sessions = withDatabase<std::vector<std::string>>(
        {}, [](MemoryDatabase& open) { return open.sessionsWithoutSummary(leftOverAtOnce); });
    for (const std::string& session : sessions)
        summarize(session, stop);
}

std::optional<std::string> MemoryStore::recentRecapContext(const std::string& excludedSession) {
    if (!isEnabled())
        return std::nullopt;
    const WallTime now = surroundings.now();
    const auto last =
        withDatabase<std::optional<ConversationSummary>>(std::nullopt, [&](MemoryDatabase& open) {
            return open.newestSummary(now - recapReach, now + clockTolerance, excludedSession);
        });
    if (!last)
        return std::nullopt;
    return recapText(last->summary, now - last->endedAt);
}

std::string MemoryStore::search(const std::string& query, int daysBack) {
    if (!isEnabled())
        return "Conversation memory is turned off in Settings — nothing to search.";
    const std::string unavailable =
        "Conversation memory is unavailable; the existing history files have been preserved.";
    const WallTime since = daysBefore(surroundings.now(), daysBack);
    return withDatabase<std::string>(unavailable, [&](MemoryDatabase& open) -> std::string {
        const auto matches = open.history(trimmed(query), since, printedEntries);
        if (!matches.empty())
            return historyLines(matches);
        const auto recent = open.history("", since, printedEntries);
        if (recent.empty())
            return "No past conversations found in that time range.";
        return fmt::format("No match for \"{}\" in that range — here's what's on record recently "
                           "instead:\n{}",
                           query, historyLines(recent));
    });
}

std::vector<ConversationHistoryEntry> MemoryStore::history(const std::string& query, WallTime since,
                                                           std::size_t limit) {
    if (!isEnabled())
        return {};
    return withDatabase<std::vector<ConversationHistoryEntry>>(
        {}, [&](MemoryDatabase& open) { return open.history(trimmed(query), since, limit); });
}

std::vector<ConversationTurn> MemoryStore::turns(const std::string& sessionID) {
    if (!isEnabled())
        return {};
    return withDatabase<std::vector<ConversationTurn>>(
        {}, [&](MemoryDatabase& open) { return open.turns(sessionID); });
}

void MemoryStore::clearAll() {
    std::exception_ptr failure;
    const auto attempt = [&failure](const std::function<void()>& clear) {
        try {
            clear();
        } catch (...) {
            if (!failure)
                failure = std::current_exception();
        }
    };
    std::unique_lock lock(mutex);
    const auto others = clearedAlong;
    attempt([this] {
        if (!database)
            throw MemoryUnavailable(issue.value_or("Conversation memory is unavailable."));
        database->clear();
    });
    lock.unlock();
    attempt([] { TavikLog::clearHistory(); });
    for (const auto& clear : others)
        attempt(clear);
    if (failure)
        std::rethrow_exception(failure);
    log("[memory] history cleared");
}

void MemoryStore::alsoClear(std::function<void()> clear) {
    const std::lock_guard lock(mutex);
    clearedAlong.push_back(std::move(clear));
}

void MemoryStore::recordingPreferenceChanged() {
    log(isEnabled() ? "[memory] remembering conversations"
                    : "[memory] not remembering conversations");
}

std::optional<std::string> MemoryStore::storageIssue() {
    const std::lock_guard lock(mutex);
    return issue;
}

void MemoryStore::onIssue(std::function<void(const std::string&)> tell) {
    const std::lock_guard lock(mutex);
    tellOfIssue = std::move(tell);
    if (issue && tellOfIssue)
        tellOfIssue(*issue);
}

} // namespace tavik
