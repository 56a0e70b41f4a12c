#include "memory/MemoryStore.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "memory/Recall.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"
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
constexpr std::size_t leftOverAtOnce = 100;
constexpr auto busyPatience = 2s;
constexpr auto busyPause = 10ms; // in which other threads get at the database
constexpr auto tellingPause = 24h;

} // namespace

MemoryStore::MemoryStore(Surroundings around)
    : surroundings(std::move(around)) {
    open();
}

void MemoryStore::open() {
    try {
        database = std::make_unique<MemoryDatabase>(surroundings.path);
    } catch (const MemoryUnavailable& unavailable) {
        mayOpenLater = unavailable.lasting == MemoryUnavailable::Lasting::forNow;
        if (issue != unavailable.what())
            log("[memory] store unavailable — original files preserved");
        raise(unavailable.what());
    }
}

bool MemoryStore::isEnabled() {
    return surroundings.defaults.boolean("rememberConversations").value_or(true);
}

template<typename Result>
Result MemoryStore::patiently(const std::function<Result(MemoryDatabase&)>& use,
                              std::stop_token stop) {
    const auto deadline = systemClock().now() + busyPatience;
    while (true) {
        try {
            const std::lock_guard lock(mutex);
            if (!database)
                throw MemoryUnavailable(issue.value_or("Conversation memory is unavailable."));
            return use(*database);
        } catch (const SqlError& error) {
            if (error.kind != SqlError::Kind::busy || stop.stop_requested() ||
                systemClock().now() >= deadline)
                throw;
        }
        systemClock().sleepFor(busyPause, {});
    }
}

template<typename Result>
Result MemoryStore::withDatabase(Result otherwise,
                                 const std::function<Result(MemoryDatabase&)>& use,
                                 std::stop_token stop) {
    try {
        return patiently(use, std::move(stop));
    } catch (const SqlError& error) {
        const std::lock_guard lock(mutex);
        failed(error);
    } catch (const MemoryUnavailable&) {
        // The user has been told.
    }
    return otherwise;
}

// The library's own words name no content.
void MemoryStore::failed(const SqlError& error) {
    log(std::string("[memory] ⚠ ") + error.what());
    switch (error.kind) {
    case SqlError::Kind::full:
        return raise(diskFullSentence);
    case SqlError::Kind::corrupt:
        database.reset();
        mayOpenLater = false;
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
    tellUser();
}

void MemoryStore::tellUser() {
    if (!tellOfIssue)
        return;
    const WallTime now = surroundings.now();
    const auto [told, isNew] = toldAt.try_emplace(*issue, now);
    if (!isNew && std::chrono::abs(now - told->second) < tellingPause)
        return;
    told->second = now;
    tellOfIssue(*issue);
}

void MemoryStore::record(const std::string& sessionID, const std::string& role,
                         const std::string& text, WallTime timestamp, std::stop_token stop) {
    if (!isEnabled())
        return;
    openAgain();
    withDatabase<bool>(
        false,
        [&](MemoryDatabase& open) {
            open.insert(ConversationTurn{sessionID, role, text, timestamp});
            issue.reset(); // a full disk may have got room again
            return true;
        },
        std::move(stop));
}

void MemoryStore::openAgain() {
    const std::lock_guard lock(mutex);
    if (!database && mayOpenLater)
        open();
}

void MemoryStore::summarize(const std::string& sessionID, std::stop_token stop) {
    const auto conversation = turns(sessionID);
    if (conversation.empty())
        return;
    try {
        const std::string sentence = surroundings.summarizer->summarize(conversation, stop);
        store({sessionID, sentence, conversation.back().timestamp}, stop);
    } catch (const Cancelled&) {
        throw;
    } catch (const std::exception&) {
        log("[memory] summary generation failed");
    }
}

void MemoryStore::store(const ConversationSummary& summary, std::stop_token stop) {
    const bool isStored = withDatabase<bool>(
        false,
        [&](MemoryDatabase& open) {
            // Cleared while the sentence was made: then it must not come back.
            if (open.turns(summary.sessionID).empty())
                return false;
            open.insert(summary);
            return true;
        },
        std::move(stop));
    log(isStored ? "[memory] session summarized" : "[memory] summary generation failed");
}

std::vector<std::string> MemoryStore::sessionsWithoutSummary() {
    if (!isEnabled())
        return {};
    return withDatabase<std::vector<std::string>>(
        {}, [](MemoryDatabase& open) { return open.sessionsWithoutSummary(leftOverAtOnce); });
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
    attempt([this] { patiently<void>([](MemoryDatabase& open) { open.clear(); }, {}); });
    attempt([] { TavikLog::clearHistory(); });
    for (const auto& clear : allClearedAlong())
        attempt(clear);
    if (failure)
        std::rethrow_exception(failure);
    log("[memory] history cleared");
}

std::vector<std::function<void()>> MemoryStore::allClearedAlong() {
    const std::lock_guard lock(mutex);
    return clearedAlong;
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
    if (issue)
        tellUser();
}

} // namespace tavik
