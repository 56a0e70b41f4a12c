#include "agent/Audit.h"
#include "app/Log.h"
#include "platform/text/Text.h"
#include "tests/agent/ScriptedBrain.h"
#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <cmath>
#include <filesystem>
#include <limits>
#include <random>
#include <thread>

namespace tavik {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class AuditTest : public testing::Test {
protected:
    AuditTest() { Audit::clearHistory(); }

    static std::vector<std::string> lines() {
        Audit::flush();
        return splitDroppingEmpty(readFile(Audit::path()), '\n');
    }
};

TEST_F(AuditTest, AnEventIsOneLineWithTheTimeAndItsOwnNames) {
    Audit::record("tool", {{"ts", "never"},
                           {"name", "line\nend “quoted” \xFF"},
                           {"event", "forged"},
                           {"nested", {{"list", {1, true, nullptr}}}}});

    ASSERT_EQ(lines().size(), 1u);
    const Json event = Json::parse(lines().front());
    EXPECT_THAT(event["ts"].get<std::string>(),
                testing::MatchesRegex("20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}"
                                      "\\.[0-9]{3}Z"));
    EXPECT_EQ(event["event"], "tool");
    EXPECT_EQ(event["name"], "line\nend “quoted” \uFFFD");
    EXPECT_EQ(event["nested"].dump(), R"({"list":[1,true,null]})");
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(Audit::path()).permissions(),
              perms::owner_read | perms::owner_write);
}

TEST_F(AuditTest, AnEventThatHasNoJsonFormIsDroppedAndTheLogNamesItsKind) {
    const Json values[] = {Json::binary({1, 2}), Json(std::nan("")),
                           Json({{"deep", {1, std::numeric_limits<double>::infinity()}}}),
                           Json(Json::value_t::discarded)};
    for (std::size_t index = 0; index < std::size(values); ++index) {
        Json fields = {{"good", 1}};
        fields["bad"] = values[index];
        Audit::record("bad kind " + std::to_string(index), fields);
    }
    Audit::record("no object", Json::array({1}));
    Audit::record("kept");

    EXPECT_THAT(auditedEvents(), ElementsAre(R"({"event":"kept"})"));
    TavikLog::flush();
    const std::string log = readFile(TavikLog::path());
    for (std::size_t index = 0; index < std::size(values); ++index)
        EXPECT_THAT(log, HasSubstr("[audit] dropped un-encodable event: bad kind " +
                                   std::to_string(index) + "\n"));
}

TEST_F(AuditTest, LinesOfManyThreadsStayWhole) {
    constexpr int threadCount = 8;
    constexpr int eventCount = 200;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < threadCount; ++thread)
            threads.emplace_back([thread] {
                for (int number = 0; number < eventCount; ++number)
                    Audit::record("tool", {{"thread", thread},
                                           {"number", number},
                                           {"filler", std::string(500, 'x')}});
            });
    }

    std::vector<int> nextOf(threadCount, 0);
    for (const std::string& line : lines()) {
        const Json event = Json::parse(line);
        EXPECT_EQ(event["number"], nextOf.at(event["thread"])++);
    }
    EXPECT_THAT(nextOf, testing::Each(eventCount));
}

TEST_F(AuditTest, ClearingLeavesAnEmptyFileThatIsWrittenOn) {
    Audit::record("before");
    Audit::clearHistory();
    EXPECT_EQ(std::filesystem::file_size(Audit::path()), 0u);
    Audit::record("after");
    EXPECT_THAT(auditedEvents(), ElementsAre(R"({"event":"after"})"));
}

TEST(AuditKill, LeavesWholeLinesWheneverItComes) {
    const TemporaryFolder home;
    const std::string path = home.file("Library/Application Support/Tavik/audit.jsonl");
    const std::string torn = "{\"left by a crash";
    std::mt19937 random(7);
    std::size_t count = 0;
    for (int round = 0; round < 200; ++round) {
        writeFile(path, torn);
        ChildProcess recorder({.arguments = {TAVIK_AUDIT_RECORDER},
                               .environment = {{"HOME", home.path()}},
                               .outputPath = "",
                               .input = ""});
        while (std::filesystem::file_size(path) == torn.size())
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        recorder.kill();

        const std::string content = readFile(path);
        auto lines = splitDroppingEmpty(content.substr(0, content.rfind('\n')), '\n');
        ASSERT_EQ(lines.front(), torn);
        lines.erase(lines.begin());
        for (const std::string& line : lines)
            ASSERT_TRUE(parseJson(line)) << "round " << round << ": " << line;
        count += lines.size();
    }
    EXPECT_GT(count, 2000u); // they did get to record
}

} // namespace
} // namespace tavik
