#include "memory/MemoryDatabase.h"
#include "tests/system/RunningTavik.h"
#include "tools/stand-ins/model/ScriptedModel.h"

#include <set>
#include <thread>

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;

namespace tavik {

namespace {

constexpr std::size_t leftOver = 20;

// A home folder for several Tavik, with conversations that are still to be summed up, and a model
// that does it without haste.
class SharedMemoryTest : public testing::Test {
protected:
    SharedMemoryTest() {
        model.servePage("/v1/models", R"({"data":[{"id":"m"}]})", "application/json");
        model.addRule({.applies = [](const ModelTurn&) { return true; },
                       .reply =
                           [](const ModelTurn&) {
                               ModelReply reply = say("You asked for something.");
                               reply.delay = 100ms;
                               return reply;
                           }});
        writeFile(home.file("Library/Preferences/ai.tavik.json"),
                  Json{{"localModelURL", model.host()}, {"localModel", "m"}}.dump());
        const auto now = std::chrono::system_clock::now();
        for (std::size_t session = 0; session < leftOver; ++session)
            memory.insert(ConversationTurn{std::to_string(session), "user", "Name a puppy.", now});
    }

    std::unique_ptr<ChildProcess> start(const std::string& name,
                                        const std::vector<std::string>& arguments) {
        std::vector<std::string> command = {TAVIK_PROGRAM};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return std::make_unique<ChildProcess>(ChildProcess::Command{
            .arguments = command,
            .environment = {{"HOME", home.path()}, {"PULSE_SERVER", "unix:/nonexistent"}},
            .outputPath = home.file(name),
            .input = ""});
    }

    bool waitUntilUnsummedAreAtMost(std::size_t count) {
        const auto deadline = std::chrono::steady_clock::now() + 40s;
        while (memory.sessionsWithoutSummary(1000).size() > count)
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            else
                std::this_thread::sleep_for(10ms);
        return true;
    }

    const TemporaryFolder home;
    const std::string path = home.file("Library/Application Support/Tavik/Memory.store");
    ScriptedModel model;
    MemoryDatabase memory{path};
};

} // namespace

TEST_F(SharedMemoryTest, LosesNothingOfAnAppAndTheSelfTestsBesideIt) {
    auto app = start("app", {});
    constexpr int selfTests = 6;
    for (int round = 0; round < selfTests; round += 2) {
        const std::string names[] = {"self-test " + std::to_string(round),
                                     "self-test " + std::to_string(round + 1)};
        const auto one = start(names[0], {"--selftest-memory"});
        const auto other = start(names[1], {"--selftest-memory"});
        EXPECT_EQ(one->waitFor(30s), 0);
        EXPECT_EQ(other->waitFor(30s), 0);
        for (const std::string& name : names) {
            EXPECT_THAT(readFile(home.file(name)), HasSubstr("[selftest-memory] PASS recap: "));
            EXPECT_THAT(readFile(home.file(name)), HasSubstr("[selftest-memory] DONE"));
        }
    }
    EXPECT_TRUE(waitUntilUnsummedAreAtMost(0));
    EXPECT_EQ(app->terminate(5s), 0);
    EXPECT_THAT(readFile(home.file("app")), Not(HasSubstr("⚠")));
    const auto history = memory.history("puppy", {}, 1000);
    EXPECT_EQ(history.size(), leftOver + selfTests);
    std::size_t turns = 0;
    for (const auto& conversation : history)
        turns += memory.turns(conversation.id).size();
    EXPECT_EQ(turns, leftOver + 2 * selfTests);
}

TEST_F(SharedMemoryTest, IsQuitAtOnceInTheMiddleOfASummaryAndCatchesUpAtTheNextStart) {
    auto app = start("app", {});
    EXPECT_TRUE(waitUntilUnsummedAreAtMost(leftOver - 2));
    {
        SqlDatabase other(path, SqlDatabase::Access::readWrite);
        const SqlTransaction writing(other); // keeps the app from the store
        std::this_thread::sleep_for(500ms);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(app->terminate(5s), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 1500ms);
    }
    EXPECT_FALSE(memory.sessionsWithoutSummary(1).empty());
    app = start("app", {});
    EXPECT_TRUE(waitUntilUnsummedAreAtMost(0));
    EXPECT_EQ(app->terminate(5s), 0);
    EXPECT_EQ(memory.history("", {}, 1000).size(), leftOver);
}

} // namespace tavik
