#include "memory/MemoryStore.h"
#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Text.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <map>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;
using testing::StartsWith;

constexpr auto nothingInRange = "No past conversations found in that time range.";

// Says what it is told to; an empty sentence fails.
class FakeSummarizer : public Summarizer {
public:
    std::string availability(std::stop_token) override { return "scripted"; }
    std::string summarize(const std::vector<ConversationTurn>& turns, std::stop_token) override {
        before();
        seen = turns;
        if (sentence.empty())
            throw SummaryError("nothing to say");
        return sentence;
    }

    std::string sentence = "You asked about puppies.";
    std::function<void()> before = [] {};
    std::vector<ConversationTurn> seen;
};

class MemoryStoreTest : public testing::Test {
protected:
    // A conversation of one turn that ended at `end`, with its summary.
    void remember(const std::string& session, const std::string& summary, WallTime end,
                  const std::string& words = "hello") {
        store().record(session, "user", words, end);
        summarizer->sentence = summary;
        store().summarize(session, {});
    }

    void catchUp() {
        for (const std::string& session : store().sessionsWithoutSummary())
            store().summarize(session, {});
    }

    MemoryStore& store() {
        if (!opened)
            opened.emplace(
                MemoryStore::Surroundings{path, defaults, summarizer, [this] { return now; }});
        return *opened;
    }

    const TemporaryFolder folder;
    const std::string path = folder.file("Application Support/Memory.store");
    UserDefaults defaults{folder.file("settings.json")};
    std::shared_ptr<FakeSummarizer> summarizer = std::make_shared<FakeSummarizer>();
    WallTime now = std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
    std::optional<MemoryStore> opened;
};

} // namespace

TEST_F(MemoryStoreTest, KeepsConversationsApartAndInOrder) {
    store().record("b", "user", "in b", now);
    store().record("a", "assistant", "second", now + 1s);
    store().record("a", "user", "first", now);
    opened.reset(); // the next one reads the file

    EXPECT_EQ(store().turns("a"),
              (std::vector<ConversationTurn>{{"a", "user", "first", now},
                                             {"a", "assistant", "second", now + 1s}}));
    EXPECT_EQ(store().turns("b").size(), 1u);
    EXPECT_THAT(store().turns("c"), IsEmpty());
}

TEST_F(MemoryStoreTest, RecallsTheLastConversationWithItsAge) {
    EXPECT_EQ(store().recentRecapContext("new"), std::nullopt);
    remember("old", "You asked about cats.", now - 5h);
    remember("last", "You asked about dogs.", now);
    const WallTime end = now;
    const std::pair<std::chrono::seconds, const char*> ages[] = {
        {-30s, "moments ago"},  {59s, "moments ago"},    {60s, "1 minute ago"},
        {119s, "1 minute ago"}, {2min, "2 minutes ago"}, {59min, "59 minutes ago"},
        {60min, "1 hour ago"},  {119min, "1 hour ago"},  {120min, "2 hours ago"},
        {6h, "6 hours ago"}};
    for (const auto& [age, words] : ages) {
        now = end + age;
        EXPECT_THAT(store().recentRecapContext("new"),
                    Optional(std::string("[Recent memory — your last conversation with the user "
                                         "ended ") +
                             words + ": You asked about dogs.]"));
    }
    EXPECT_THAT(store().recentRecapContext("last"), std::nullopt); // the older one is too old
    now = end + 361min;
    EXPECT_EQ(store().recentRecapContext("new"), std::nullopt);
    now = end - 2min; // the clock was set back
    EXPECT_THAT(store().recentRecapContext("new"), Optional(HasSubstr("cats")));
}

TEST_F(MemoryStoreTest, SearchesSummariesAndTurns) {
    EXPECT_EQ(store().search("puppy"), nothingInRange);
    remember("1", "You asked about the Café Zoë.", now - 3 * 24h, "where is it");
    remember("2", "You planned a trip.", now - 40h, "Fahren wir nach KÖLN?");
    store().record("3", "user", "never summed up: köln", now);
    const auto line = [this](std::chrono::hours ago, const std::string& summary) {
        return mediumDateShortTime(now - ago) + ": " + summary;
    };
    const std::string cafe = line(3 * 24h, "You asked about the Café Zoë.");
    const std::string trip = line(40h, "You planned a trip.");
    const std::string both = trip + "\n" + cafe;

    EXPECT_EQ(store().search("cafe zoe"), cafe);
    EXPECT_EQ(store().search("  CAFÉ\n"), cafe);
    EXPECT_EQ(store().search("koln"), trip);
    EXPECT_EQ(store().search(""), both);
    EXPECT_EQ(store().search("quantum physics"),
              "No match for \"quantum physics\" in that range — here's what's on record recently "
              "instead:\n" +
                  both);
    EXPECT_EQ(store().search("cafe", 2),
              "No match for \"cafe\" in that range — here's what's on record recently instead:\n" +
                  trip);
    for (const int days : {0, 1, -5, std::numeric_limits<int>::min()})
        EXPECT_EQ(store().search("cafe", days), nothingInRange);
    EXPECT_EQ(store().search("cafe", std::numeric_limits<int>::max()), cafe);

    for (int more = 0; more < 7; ++more)
        remember("more " + std::to_string(more), "You asked for tea.", now - 1h + more * 1min);
    const auto lines = splitDroppingEmpty(store().search("tea"), '\n');
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines.front(), mediumDateShortTime(now - 54min) + ": You asked for tea.");
    EXPECT_EQ(store().history("tea", now - 24h, 100).size(), 7u);
}

TEST_F(MemoryStoreTest, SumsUpOnceAndCatchesUpLater) {
    summarizer->sentence = "";
    store().record("a", "user", "hi", now - 1h);
    store().record("a", "assistant", "hello", now - 59min);
    store().summarize("a", {});
    EXPECT_EQ(store().recentRecapContext("new"), std::nullopt);
    EXPECT_EQ(summarizer->seen.size(), 2u);

    opened.reset(); // the next start
    summarizer->sentence = "You said hi.";
    catchUp();
    EXPECT_THAT(store().recentRecapContext("new"), Optional(HasSubstr("59 minutes ago: You said")));
    summarizer->sentence = "Another sentence.";
    store().summarize("a", {});
    catchUp();
    EXPECT_THAT(store().recentRecapContext("new"), Optional(HasSubstr("You said hi.")));
    store().summarize("unknown", {});
    EXPECT_EQ(store().history("", now - 24h, 9).size(), 1u);

    // What is cleared while its sentence is being made does not come back.
    store().record("b", "user", "secret", now);
    summarizer->before = [this] { store().clearAll(); };
    store().summarize("b", {});
    EXPECT_EQ(store().search(""), nothingInRange);
    summarizer->before = [] { throw Cancelled(); };
    store().record("c", "user", "hi", now);
    EXPECT_THROW(store().summarize("c", {}), Cancelled);
}

TEST_F(MemoryStoreTest, DoesNothingWhileItIsOff) {
    remember("before", "You asked about puppies.", now);
    defaults.set("rememberConversations", false);
    store().record("off", "user", "hello", now);
    store().summarize("off", {});
    catchUp();
    EXPECT_EQ(store().recentRecapContext("new"), std::nullopt);
    EXPECT_EQ(store().search("puppies"),
              "Conversation memory is turned off in Settings — nothing to search.");
    defaults.set("rememberConversations", true);
    EXPECT_THAT(store().turns("off"), IsEmpty());
    EXPECT_THAT(store().search("puppies"), HasSubstr("You asked about puppies."));
}

TEST_F(MemoryStoreTest, ClearsEverythingForGood) {
    const std::string marker = "a marker that nobody else writes";
    for (int turn = 0; turn < 200; ++turn)
        remember(std::to_string(turn), marker + " summed up", now, marker + std::to_string(turn));
    bool isClearedAlong = false;
    store().alsoClear([] { throw std::runtime_error("a file is stuck"); });
    store().alsoClear([&] { isClearedAlong = true; });
    defaults.set("rememberConversations", false); // which hinders no clearing
    EXPECT_THROW(store().clearAll(), std::runtime_error);
    EXPECT_TRUE(isClearedAlong);
    TavikLog::flush();
    EXPECT_EQ(readFile(TavikLog::path()), "");
    for (const char* suffix : {"", "-wal", "-shm"})
        EXPECT_EQ(readFile(path + suffix).find(marker), std::string::npos) << suffix;
    defaults.set("rememberConversations", true);
    EXPECT_EQ(store().search(""), nothingInRange);
    store().record("after", "user", "hello", now);
    EXPECT_EQ(store().turns("after").size(), 1u);
}

TEST_F(MemoryStoreTest, TakesTextsOfEveryKind) {
    const std::map<std::string, std::string> texts = {
        {"", ""},
        {std::string("a\0b", 3), "a\uFFFDb"},
        {"caf\xE9", "caf\uFFFD"},
        {"🙂 שלום", "🙂 שלום"},
        {std::string(10 << 20, 'x'), std::string(10 << 20, 'x')},
    };
    for (const auto& [text, kept] : texts) {
        remember("session", text.empty() ? "nothing" : text.substr(0, 1000), now, text);
        EXPECT_TRUE(store().turns("session").back().text == kept);
        EXPECT_THAT(store().search(text), StartsWith(mediumDateShortTime(now)));
        EXPECT_THAT(store().search(std::string(text.size() / 2, 'x') + "y"),
                    StartsWith("No match for \""));
        store().clearAll();
    }
}

TEST_F(MemoryStoreTest, WaitsForAnotherProcessAndLetsReadersIn) {
    remember("before", "You asked about dogs.", now);
    SqlDatabase other(path, SqlDatabase::Access::readWrite);
    const auto record = [this](const char* session, std::stop_token stop = {}) {
        const auto begin = std::chrono::steady_clock::now();
        store().record(session, "user", "hello", now, std::move(stop));
        return std::chrono::steady_clock::now() - begin;
    };
    std::optional<SqlTransaction> writing(std::in_place, other);
    {
        const std::jthread waiting([&] { EXPECT_GE(record("patient"), 300ms); });
        for (int look = 0; look < 3; ++look) {
            std::this_thread::sleep_for(100ms);
            const auto begin = std::chrono::steady_clock::now();
            EXPECT_THAT(store().recentRecapContext("new"), Optional(HasSubstr("dogs")));
            EXPECT_LT(std::chrono::steady_clock::now() - begin, 300ms);
        }
        writing.reset();
    }
    EXPECT_EQ(store().turns("patient").size(), 1u);
    EXPECT_EQ(store().storageIssue(), std::nullopt);

    writing.emplace(other);
    std::stop_source quitting;
    quitting.request_stop();
    EXPECT_LT(record("quitting", quitting.get_token()), 500ms);
    EXPECT_LT(record("given up"), 3s);
    EXPECT_THAT(store().storageIssue(), Optional(HasSubstr("could not be remembered")));
    EXPECT_THROW(store().clearAll(), SqlError);
    writing.reset();
    record("after");
    EXPECT_EQ(store().storageIssue(), std::nullopt);
    EXPECT_THAT(store().sessionsWithoutSummary(),
                testing::UnorderedElementsAre("after", "patient"));
}

TEST_F(MemoryStoreTest, MayBeSharedByProcesses) {
    constexpr int users = 4;
    constexpr int turnsOfEach = 50;
    {
        std::vector<std::jthread> threads;
        for (int user = 0; user < users; ++user)
            threads.emplace_back([&, user] { // each with a connection of its own, as a process has
                MemoryStore own({path, defaults, nullptr});
                for (int turn = 0; turn < turnsOfEach; ++turn)
                    own.record(std::to_string(user), "user", "hi", now);
            });
    }
    for (int user = 0; user < users; ++user)
        EXPECT_EQ(store().turns(std::to_string(user)).size(), std::size_t{turnsOfEach});
}

TEST_F(MemoryStoreTest, SaysWhyItIsUnavailableAndWorksOn) {
    writeFile(path, "This is no database, whatever its name says.");
    std::vector<std::string> issues;
    store().onIssue([&](const std::string& issue) { issues.push_back(issue); });
    ASSERT_EQ(issues.size(), 1u);
    EXPECT_EQ(store().storageIssue(), issues.front());
    store().record("a", "user", "hello", now);
    store().summarize("a", {});
    catchUp();
    EXPECT_EQ(store().recentRecapContext("new"), std::nullopt);
    EXPECT_EQ(
        store().search("hello"),
        "Conversation memory is unavailable; the existing history files have been preserved.");
    EXPECT_THROW(store().clearAll(), MemoryUnavailable);
    EXPECT_EQ(readFile(path), "This is no database, whatever its name says.");
    EXPECT_EQ(issues.size(), 1u);
}

} // namespace tavik
