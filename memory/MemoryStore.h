#pragma once

#include "memory/MemoryDatabase.h"
#include "memory/Records.h"
#include "memory/Summarizer.h"
#include "platform/defaults/UserDefaults.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

// What the assistant remembers: records conversations, sums each up in a sentence, recalls the last
// one and searches the older ones. All of it stays on this machine. While the setting
// "rememberConversations" is off nothing is recorded, recalled or found; where the store cannot be
// opened, neither, and the rest of the program works on. Safe from any thread. While another
// process writes to the store, a change here waits for up to two seconds, and nobody else does.
class MemoryStore {
public:
    struct Surroundings {
        std::string path;
        UserDefaults& defaults;
        std::shared_ptr<Summarizer> summarizer;
        std::function<WallTime()> now = std::chrono::system_clock::now;
    };

    // Opens the store, which takes under half a second.
    explicit MemoryStore(Surroundings around);

    // The user's, opened at the first use.
    static MemoryStore& shared();

    // Adds one turn, and returns when it is on the disk. A turn that cannot be written is lost with
    // a line in the log and an issue; a full disk is tried again with the next one. Once stopped it
    // tries, but no longer waits for other processes.
    void record(const std::string& sessionID, const std::string& role, const std::string& text,
                WallTime timestamp, std::stop_token stop = {});

    // Sums the conversation up, for as long as the summarizer takes. Nothing when it has a summary
    // or no turns. Throws Cancelled only.
    void summarize(const std::string& sessionID, std::stop_token stop);

    // The newest conversations without a summary, such as earlier runs left over.
    std::vector<std::string> sessionsWithoutSummary();

    // The note about a conversation of the last six hours, for the first command of the next one.
    std::optional<std::string> recentRecapContext(const std::string& excludedSession);

    // What is on record about `query` of the last `daysBack` days, in words for the model.
    std::string search(const std::string& query, int daysBack = 30);

    // The newest conversations with a summary since `since` that match `query`; an empty one
    // matches all. None when memory is off or the store unavailable.
    std::vector<ConversationHistoryEntry> history(const std::string& query, WallTime since,
                                                  std::size_t limit);

    // A conversation's turns in time order.
    std::vector<ConversationTurn> turns(const std::string& sessionID);

    // Deletes everything recorded, whether remembering is on or off, and empties the program's logs
    // along with what `alsoClear` named. Does all of it that can be done, then throws
    // std::exception when something could not.
    void clearAll();
    void alsoClear(std::function<void()> clear);

    // To be called when "rememberConversations" has changed.
    void recordingPreferenceChanged();

    // Why the store is not open, or what it could not write; nothing when all is well.
    std::optional<std::string> storageIssue();
    // Tells the user's part of an issue when it comes up, once a day when it comes and goes; called
    // at once when there is one. `tell` runs on any thread and must not call back.
    void onIssue(std::function<void(const std::string&)> tell);

private:
    bool isEnabled();
    // What `use` returns for the open database; `otherwise` without one or when it fails.
    template<typename Result>
    Result withDatabase(Result otherwise, const std::function<Result(MemoryDatabase&)>& use,
                        std::stop_token stop = {});
    // The same, but throws SqlError, and MemoryUnavailable without a database.
    template<typename Result>
    Result patiently(const std::function<Result(MemoryDatabase&)>& use, std::stop_token stop);
    void open();
    void openAgain();
    void failed(const SqlError& error);
    void raise(const std::string& sentence);
    void tellUser();
    void store(const ConversationSummary& summary, std::stop_token stop);
    std::vector<std::function<void()>> allClearedAlong();

    const Surroundings surroundings;
    std::mutex mutex;
    std::unique_ptr<MemoryDatabase> database;            // guarded by mutex; null: unavailable
    bool mayOpenLater = true;                            // guarded by mutex
    std::optional<std::string> issue;                    // guarded by mutex
    std::map<std::string, WallTime> toldAt;              // guarded by mutex; by the issue
    std::function<void(const std::string&)> tellOfIssue; // guarded by mutex
    std::vector<std::function<void()>> clearedAlong;     // guarded by mutex
};

} // namespace tavik
