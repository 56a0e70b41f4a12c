#include "memory/MemoryDatabase.h"
#include "platform/text/Folding.h"
#include "platform/text/Text.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <filesystem>
#include <random>
#include <sys/stat.h>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

const WallTime start = WallTime(std::chrono::seconds(1'700'000'000));

std::string sentenceOf(const std::string& path) {
    try {
        MemoryDatabase database(path);
    } catch (const MemoryUnavailable& unavailable) {
        return unavailable.what();
    }
    return "";
}

// A store with enough in it to have many pages.
void fill(const std::string& path) {
    MemoryDatabase database(path);
    for (int turn = 0; turn < 50; ++turn)
        database.insert(ConversationTurn{"s", "user", std::string(1000, 'x'), start});
    database.insert(ConversationSummary{"s", "You said x.", start});
}

} // namespace

TEST(Folding, IgnoresCaseAndDiacriticsOnly) {
    const std::pair<const char*, const char*> same[] = {
        {"Crème BRÛLÉE", "creme brulee"}, {"STRASSE", "straße"}, {"e\u0301", "é"},
        {"ΣΊΣΥΦΟΣ", "σισυφος"},           {"Ёлка", "елка"},      {"שָׁלוֹם", "שלום"},
        {"İstanbul", "istanbul"},         {"Zażółć", "zazołc"},  {"Å", "a"}};
    for (const auto& [one, other] : same)
        EXPECT_EQ(folded(one), folded(other)) << one;
    const std::pair<const char*, const char*> different[] = {
        {"a", "b"}, {"o", "ø"}, {"कि", "का"}, {"は", "ば "}, {"🙂", "🙁"}};
    for (const auto& [one, other] : different)
        EXPECT_NE(folded(one), folded(other)) << one;
    EXPECT_EQ(folded("caf\xE9"), "caf\uFFFD");
}

TEST(MemoryDatabase, FindsWhatAPlainLookAtEveryTextFinds) {
    const TemporaryFolder folder;
    MemoryDatabase database(folder.file("store"));
    const std::vector<std::string> words = {"Café", "cafe", "TEA",  "thé", "Ä",
                                            "x",    "🙂", "日本", ""};
    std::mt19937 random(3);
    const auto word = [&] { return words[random() % words.size()]; };
    std::vector<ConversationTurn> turns;
    std::vector<ConversationSummary> summaries;
    for (int session = 0; session < 60; ++session) {
        const std::string name = std::to_string(session);
        for (unsigned count = random() % 4; count > 0; --count) {
            turns.push_back({name, "user", word() + " " + word() + word(),
                             start + std::chrono::minutes(random() % 100)});
            database.insert(turns.back());
        }
        if (session % 3 == 0)
            continue;
        summaries.push_back({name, word() + word(), start + std::chrono::minutes(session)});
        database.insert(summaries.back());
    }
    std::reverse(summaries.begin(), summaries.end()); // the newest first
    const auto contains = [](const std::string& text, const std::string& query) {
        return folded(text).find(folded(query)) != std::string::npos;
    };
    for (const std::string query : {"cafe", "T", "the", "a", "CAFÉ T", "本", "🙂x", "", "none"})
        for (const auto since : {start - 1h, start + 30min}) {
            std::vector<std::string> expected;
            for (const auto& summary : summaries) {
                bool matches = contains(summary.summary, query);
                for (const auto& turn : turns)
                    matches = matches || (turn.sessionID == summary.sessionID &&
                                          turn.timestamp >= since && contains(turn.text, query));
                if (matches && summary.endedAt >= since)
                    expected.push_back(summary.sessionID);
            }
            std::vector<std::string> found;
            for (const auto& entry : database.history(query, since, 1000))
                found.push_back(entry.id);
            EXPECT_EQ(found, expected) << query;
        }
}

TEST(MemoryDatabase, LeavesAFileAloneThatItCannotUse) {
    const TemporaryFolder folder;
    const std::string path = folder.file("store");
    const auto overwrite = [&](std::size_t at, const std::string& bytes) {
        std::string content = readFile(path);
        content.replace(at, bytes.size(), bytes);
        writeFile(path, content);
    };
    const std::pair<const char*, std::function<void()>> damages[] = {
        {"damaged", [&] { writeFile(path, std::string(5000, 'x')); }},
        {"damaged", [&] { overwrite(4096 * 3, std::string(4096 * 8, '\xA5')); }},
        {"damaged", [&] { std::filesystem::resize_file(path, 4096 * 5); }},
        {"newer version",
         [&] {
             SqlDatabase(path, SqlDatabase::Access::readWrite).execute("PRAGMA user_version=9");
         }},
        {"something else",
         [&] {
             SqlDatabase(path, SqlDatabase::Access::readWrite).execute("PRAGMA user_version=0");
         }},
        {"must not be written", [&] { chmod(path.c_str(), 0400); }},
    };
    for (const auto& [reason, damage] : damages) {
        std::filesystem::remove(path);
        fill(path);
        damage();
        const std::string before = readFile(path);
        EXPECT_THAT(sentenceOf(path), HasSubstr(reason));
        EXPECT_TRUE(readFile(path) == before) << reason;
        EXPECT_FALSE(std::filesystem::exists(path + "-journal"));
    }
    const std::string crashed = folder.file("crashed"); // only its write-ahead log tells
    {
        std::filesystem::remove(path);
        fill(path);
        SqlDatabase newer(path, SqlDatabase::Access::readWrite);
        newer.execute("PRAGMA user_version=9");
        std::filesystem::copy_file(path, crashed);
        std::filesystem::copy_file(path + "-wal", crashed + "-wal");
    }
    const std::string before = readFile(crashed) + readFile(crashed + "-wal");
    EXPECT_THAT(sentenceOf(crashed), HasSubstr("newer version"));
    EXPECT_TRUE(readFile(crashed) + readFile(crashed + "-wal") == before);
    std::filesystem::create_directory(folder.file("folder"));
    EXPECT_THAT(sentenceOf(folder.file("folder")), HasSubstr("is no file"));
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("folder")));
    EXPECT_THAT(sentenceOf("/proc/none/store"), HasSubstr("cannot be made"));
    writeFile(folder.file("empty"), "");
    EXPECT_EQ(sentenceOf(folder.file("empty")), "");
}

TEST(MemoryDatabase, MayBeMadeByManyAtOnce) {
    const TemporaryFolder folder;
    for (int round = 0; round < 40; ++round) {
        std::vector<std::jthread> threads;
        for (int user = 0; user < 6; ++user)
            threads.emplace_back(
                [path = folder.file(std::to_string(round))] { EXPECT_EQ(sentenceOf(path), ""); });
    }
}

TEST(MemoryDatabase, IsPrivate) {
    const TemporaryFolder folder;
    const std::string path = folder.file("Application Support/store");
    MemoryDatabase database(path);
    using std::filesystem::perms;
    for (const char* suffix : {"", "-wal"})
        EXPECT_EQ(std::filesystem::status(path + suffix).permissions(),
                  perms::owner_read | perms::owner_write);
}

} // namespace tavik
