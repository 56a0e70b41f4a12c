#pragma once

#include "memory/Records.h"
#include "platform/database/Sqlite.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavik {

inline constexpr const char* diskFullSentence =
    "The disk is full, so conversations are not remembered for now.";

// The store cannot be used; `what()` is a sentence for the user. The file is as it was.
class MemoryUnavailable : public std::runtime_error {
public:
    enum class Lasting { untilMended, forNow }; // a full disk gets room again

    explicit MemoryUnavailable(const std::string& sentence, Lasting howLong = Lasting::untilMended)
        : std::runtime_error(sentence)
        , lasting(howLong) {}

    Lasting lasting;
};

// The file of turns and summaries. Several processes may use it at once: while another one writes,
// a change waits a tenth of a second, and can be tried again when that was too short. An object
// belongs to one thread at a time. What was inserted is on the disk when the call returns.
// Everything throws SqlError.
class MemoryDatabase {
public:
    // Opens the store, or makes a new one where there is no file, and brings an older one up to
    // date. Throws MemoryUnavailable without having touched a file that is damaged, newer than this
    // program, or not to be written.
    explicit MemoryDatabase(const std::string& path);

    void insert(const ConversationTurn& turn);
    // Nothing when the conversation has a summary.
    void insert(const ConversationSummary& summary);

    // In time order.
    std::vector<ConversationTurn> turns(const std::string& sessionID);

    // The newest summary that ended within the two times, both included, of another conversation.
    std::optional<ConversationSummary> newestSummary(WallTime from, WallTime to,
                                                     const std::string& excludedSession);

    // The newest conversations that have a summary and ended at or after `since`, at most `limit`;
    // those only whose summary, or a turn at or after `since`, contains `query` without regard to
    // case and diacritics.
    std::vector<ConversationHistoryEntry> history(const std::string& query, WallTime since,
                                                  std::size_t limit);

    // The newest conversations without a summary, at most `limit`.
    std::vector<std::string> sessionsWithoutSummary(std::size_t limit);

    // Deletes everything, and overwrites it in the files.
    void clear();

private:
    void migrate();

    std::unique_ptr<SqlDatabase> database;
};

} // namespace tavik
