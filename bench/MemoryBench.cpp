// What remembering costs with 1,000, 100,000 and 1,000,000 turns on record: opening the store,
// recording a turn, the recap, and the search of a common, a rare and an absent word over all of
// it, beside a plain LIKE scan and beside SQLite's full-text index (of trigrams, which finds the
// same parts of words) on the same data.

#include "bench/FreshHome.h"
#include "memory/MemoryDatabase.h"
#include "memory/MemoryStore.h"
#include "platform/text/Folding.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <functional>

namespace {

using namespace tavik;

constexpr int turnsOfSession = 10;
const WallTime now = std::chrono::system_clock::now();
const WallTime longAgo = now - std::chrono::hours(24) * 365;

double milliseconds(const std::function<void()>& work) {
    const auto started = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started)
        .count();
}

std::string wordsOf(int turn) {
    return fmt::format("Could you please tell me about topic {} and what we said about the café? "
                       "It was on page {} of the long report.",
                       turn * 7919 % 100'003, turn % 997);
}

std::int64_t microsecondsOf(int turn, int turns) {
    const auto time = longAgo + (now - longAgo) / turns * turn;
    return std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
}

// As the store itself writes it, but all at once.
void fill(const std::string& path, int turns) {
    MemoryDatabase made(path);
    SqlDatabase database(path, SqlDatabase::Access::readWrite);
    SqlTransaction transaction(database);
    for (int turn = 0; turn < turns; ++turn) {
        const std::string text = turn == turns / 2 ? "The zeppelin came." : wordsOf(turn);
        const std::string session = std::to_string(turn / turnsOfSession);
        database
            .prepare("INSERT INTO turns (session, role, text, folded, timestamp) "
                     "VALUES (?, 'user', ?, ?, ?)")
            .bind(1, session)
            .bind(2, text)
            .bindBytes(3, folded(text))
            .bind(4, microsecondsOf(turn, turns))
            .run();
        if (turn % turnsOfSession == 0)
            database
                .prepare("INSERT INTO summaries (session, summary, folded, ended_at) "
                         "VALUES (?, 'You asked for something.', CAST('you asked for something.' "
                         "AS BLOB), ?)")
                .bind(1, session)
                .bind(2, microsecondsOf(turn + turnsOfSession - 1, turns))
                .run();
    }
    transaction.commit();
}

void addFullTextIndex(const std::string& path) {
    SqlDatabase(path, SqlDatabase::Access::readWrite)
        .execute("CREATE VIRTUAL TABLE peer USING fts5(folded, session UNINDEXED, "
                 "tokenize='trigram'); INSERT INTO peer SELECT CAST(folded AS TEXT), session FROM "
                 "turns;");
}

// The five newest conversations that match `condition`.
double timeOfPeer(const std::string& path, const std::string& condition) {
    SqlDatabase database(path, SqlDatabase::Access::readOnly);
    return milliseconds([&] {
        SqlStatement rows =
            database.prepare("SELECT session, summary, ended_at FROM summaries WHERE session IN (" +
                             condition + ") ORDER BY ended_at DESC LIMIT 5");
        rows.run();
    });
}

void measure(const FreshHome& home, int turns) {
    const std::string path = home.file(fmt::format("store-{}", turns));
    fill(path, turns);
    const auto bytes = std::filesystem::file_size(path);
    UserDefaults defaults(home.file("settings.json"));
    std::optional<MemoryStore> store;
    std::printf("%d turns, %.0f bytes a turn\n", turns,
                static_cast<double>(bytes) / static_cast<double>(turns));
    std::printf("  open                     %9.2f ms\n", milliseconds([&] {
                    store.emplace(MemoryStore::Surroundings{path, defaults, nullptr});
                }));
    constexpr int records = 50;
    std::printf("  record                   %9.2f ms, on the disk\n",
                milliseconds([&] {
                    for (int turn = 0; turn < records; ++turn)
                        store->record("new", "user", wordsOf(turn), now);
                }) / records);
    std::printf("  recap                    %9.2f ms\n",
                milliseconds([&] { store->recentRecapContext("other"); }));
    addFullTextIndex(path);
    const std::pair<const char*, std::string> searches[] = {
        {"common", "café"}, {"rare", "Zeppelin"}, {"absent", "quantum"}};
    for (const auto& search : searches) {
        const auto& kind = search.first;
        const std::string& word = search.second;
        const double own = milliseconds([&] { store->search(word, 400); });
        const std::string plain = folded(word);
        const double like =
            timeOfPeer(path, "SELECT session FROM turns WHERE text LIKE '%" + word + "%'");
        const double index =
            timeOfPeer(path, "SELECT session FROM peer WHERE peer MATCH '\"" + plain + "\"'");
        std::printf("  search, %-6s word      %9.2f ms; LIKE %9.2f ms, ratio %5.2f; full-text "
                    "index %9.2f ms, ratio %5.2f\n",
                    kind, own, like, own / like, index, own / index);
    }
}

} // namespace

int main() {
    const FreshHome home;
    for (const int turns : {1'000, 100'000, 1'000'000})
        measure(home, turns);
    return 0;
}
