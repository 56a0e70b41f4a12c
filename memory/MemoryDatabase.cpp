#include "memory/MemoryDatabase.h"

#include "platform/concurrency/Clock.h"
#include "platform/files/Folders.h"
#include "platform/text/Folding.h"
#include "platform/text/Text.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tavik {

namespace {

constexpr std::chrono::milliseconds inspectionPatience{300};
constexpr std::chrono::milliseconds busyPatience{100};
constexpr std::chrono::milliseconds openingPatience{2000};
constexpr std::chrono::milliseconds openingPause{10};

// One entry a schema version, from an empty file on. Entries are never changed, only added.
// Times are microseconds since 1970; a folded text is kept as bytes, which are faster to search.
constexpr const char* migrations[] = {
    R"(
    CREATE TABLE turns (
        id INTEGER PRIMARY KEY, session TEXT NOT NULL, role TEXT NOT NULL,
        text TEXT NOT NULL, folded BLOB NOT NULL, timestamp INTEGER NOT NULL);
    CREATE INDEX turns_of_session ON turns (session, timestamp);
    CREATE TABLE summaries (
        id INTEGER PRIMARY KEY, session TEXT NOT NULL UNIQUE,
        summary TEXT NOT NULL, folded BLOB NOT NULL, ended_at INTEGER NOT NULL);
    CREATE INDEX summaries_by_end ON summaries (ended_at);
    )",
};
constexpr std::int64_t currentVersion = std::size(migrations);

using Lasting = MemoryUnavailable::Lasting;

[[noreturn]] void failUntouched(const std::string& reason, Lasting lasting = Lasting::untilMended) {
    throw MemoryUnavailable(
        "Conversation memory is unavailable: " + reason + " It has been left as it was.", lasting);
}

[[noreturn]] void failForLackOfRoom() {
    throw MemoryUnavailable(diskFullSentence, Lasting::forNow);
}

// `done`: what was to be done with the file.
[[noreturn]] void fail(const SqlError& error, const char* done) {
    switch (error.kind) {
    case SqlError::Kind::corrupt:
        failUntouched("the history file is damaged.");
    case SqlError::Kind::full:
        failForLackOfRoom();
    default:
        failUntouched(fmt::format("the history file cannot be {} ({}).", done, error.what()),
                      Lasting::forNow);
    }
}

std::int64_t microseconds(WallTime time) {
    return std::chrono::floor<std::chrono::microseconds>(time.time_since_epoch()).count();
}

WallTime wallTime(std::int64_t microsecondsSince1970) {
    return WallTime(std::chrono::microseconds(microsecondsSince1970));
}

// As text that every reader of the file gets back whole.
std::string storable(const std::string& text) {
    std::string valid = validUtf8(text);
    for (std::size_t at = 0; (at = valid.find('\0', at)) != std::string::npos;)
        valid.replace(at, 1, "\uFFFD");
    return valid;
}

// A look that writes nothing.
void inspect(const std::string& path) {
    SqlDatabase database(path, SqlDatabase::Access::readOnly);
    database.execute("BEGIN"); // another process may be making the tables
    const std::int64_t version = database.integer("PRAGMA user_version");
    if (version > currentVersion)
        failUntouched("the history file is of a newer version of Tavik.");
    if (version < 0 ||
        (version == 0 && database.integer("SELECT count(*) FROM sqlite_schema") != 0))
        failUntouched("the history file holds something else.");
    if (!database.isSound(inspectionPatience))
        failUntouched("the history file is damaged.");
}

void inspectIfPresent(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return;
    if (!S_ISREG(status.st_mode))
        failUntouched("what stands in the place of the history file is no file.");
    if ((status.st_mode & S_IWUSR) == 0 || access(path.c_str(), W_OK) != 0)
        failUntouched("the history file must not be written.");
    if (status.st_size == 0)
        return;
    try {
        inspect(path);
    } catch (const SqlError& error) {
        fail(error, "read");
    }
}

// The library gives its own files the rights of this one.
void createPrivately(const std::string& path) {
    std::error_code ignored;
    createPrivateFolders(std::filesystem::path(path).parent_path().string(), ignored);
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0 && (errno == ENOSPC || errno == EDQUOT))
        failForLackOfRoom();
    if (descriptor < 0)
        failUntouched("the history file cannot be made.");
    fchmod(descriptor, 0600);
    close(descriptor);
}

// The library does not wait by itself while another process makes the file one with a write-ahead
// log.
std::unique_ptr<SqlDatabase> openPatiently(const std::string& path) {
    const auto deadline = systemClock().now() + openingPatience;
    while (true) {
        try {
            auto opened = std::make_unique<SqlDatabase>(path, SqlDatabase::Access::readWrite);
            opened->execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
                            "PRAGMA secure_delete = ON;");
            return opened;
        } catch (const SqlError& error) {
            if (error.kind != SqlError::Kind::busy || systemClock().now() >= deadline)
                throw;
        }
        systemClock().sleepFor(openingPause, {});
    }
}

} // namespace

MemoryDatabase::MemoryDatabase(const std::string& path) {
    inspectIfPresent(path);
    createPrivately(path);
    try {
        database = openPatiently(path);
        migrate();
        database->setPatience(busyPatience);
    } catch (const SqlError& error) {
        fail(error, "opened");
    }
}

void MemoryDatabase::migrate() {
    if (database->integer("PRAGMA user_version") == currentVersion)
        return;
    SqlTransaction transaction(*database);
    // Another process may have been first.
    for (auto version = database->integer("PRAGMA user_version"); version < currentVersion;
         ++version) {
        database->execute(migrations[version]);
        database->execute("PRAGMA user_version = " + std::to_string(version + 1));
    }
    transaction.commit();
}

void MemoryDatabase::insert(const ConversationTurn& turn) {
    const std::string text = storable(turn.text);
    database
        ->prepare("INSERT INTO turns (session, role, text, folded, timestamp) "
                  "VALUES (?, ?, ?, ?, ?)")
        .bind(1, turn.sessionID)
        .bind(2, turn.role)
        .bind(3, text)
        .bindBytes(4, folded(text))
        .bind(5, microseconds(turn.timestamp))
        .run();
}

void MemoryDatabase::insert(const ConversationSummary& summary) {
    const std::string text = storable(summary.summary);
    database
        ->prepare("INSERT OR IGNORE INTO summaries (session, summary, folded, ended_at) "
                  "VALUES (?, ?, ?, ?)")
        .bind(1, summary.sessionID)
        .bind(2, text)
        .bindBytes(3, folded(text))
        .bind(4, microseconds(summary.endedAt))
        .run();
}

std::vector<ConversationTurn> MemoryDatabase::turns(const std::string& sessionID) {
    SqlStatement rows = database->prepare("SELECT role, text, timestamp FROM turns "
                                          "WHERE session = ? ORDER BY timestamp, id");
    rows.bind(1, sessionID);
    std::vector<ConversationTurn> found;
    while (rows.step())
        found.push_back({sessionID, rows.text(0), rows.text(1), wallTime(rows.integer(2))});
    return found;
}

std::optional<ConversationSummary>
MemoryDatabase::newestSummary(WallTime from, WallTime to, const std::string& excludedSession) {
    SqlStatement row = database->prepare(
        "SELECT session, summary, ended_at FROM summaries "
        "WHERE ended_at BETWEEN ? AND ? AND session <> ? ORDER BY ended_at DESC, id DESC LIMIT 1");
    row.bind(1, microseconds(from)).bind(2, microseconds(to)).bind(3, excludedSession);
    if (!row.step())
        return std::nullopt;
    return ConversationSummary{row.text(0), row.text(1), wallTime(row.integer(2))};
}

std::vector<ConversationHistoryEntry> MemoryDatabase::history(const std::string& query,
                                                              WallTime since, std::size_t limit) {
    SqlStatement rows = database->prepare(
        "SELECT session, summary, ended_at FROM summaries WHERE ended_at >= ?1 AND ("
        "    holds(folded, ?2) OR EXISTS ("
        "        SELECT 1 FROM turns WHERE turns.session = summaries.session"
        "        AND turns.timestamp >= ?1 AND holds(turns.folded, ?2))) "
        "ORDER BY ended_at DESC, id DESC LIMIT ?3");
    rows.bind(1, microseconds(since))
        .bindBytes(2, folded(storable(query)))
        .bind(3, static_cast<std::int64_t>(limit));
    std::vector<ConversationHistoryEntry> found;
    while (rows.step())
        found.push_back({rows.text(0), rows.text(1), wallTime(rows.integer(2))});
    return found;
}

std::vector<std::string> MemoryDatabase::sessionsWithoutSummary(std::size_t limit) {
    SqlStatement rows = database->prepare(
        "SELECT session FROM turns WHERE session NOT IN (SELECT session FROM summaries) "
        "GROUP BY session ORDER BY max(timestamp) DESC LIMIT ?");
    rows.bind(1, static_cast<std::int64_t>(limit));
    std::vector<std::string> found;
    while (rows.step())
        found.push_back(rows.text(0));
    return found;
}

void MemoryDatabase::clear() {
    SqlTransaction transaction(*database);
    database->execute("DELETE FROM turns; DELETE FROM summaries;");
    transaction.commit();
    // The write-ahead log still holds what was inserted; emptied, it holds nothing.
    database->execute("VACUUM");
    if (database->integer("PRAGMA wal_checkpoint(TRUNCATE)") != 0)
        throw SqlError(SqlError::Kind::busy, "another program is using the history file");
}

} // namespace tavik
