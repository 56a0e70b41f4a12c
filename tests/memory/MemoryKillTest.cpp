#include "memory/MemoryDatabase.h"
#include "platform/text/Text.h"
#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <random>
#include <set>
#include <thread>

namespace tavik {

namespace {

// What must be in the store by what its recorders have said.
struct Account {
    void read(const std::string& output) {
        isClearing = false;
        for (const std::string& line :
             splitDroppingEmpty(output.substr(0, output.rfind('\n') + 1), '\n')) {
            if (line.starts_with('[')) // of the log
                continue;
            const int number = std::stoi(line.substr(line.rfind(' ') + 1));
            isClearing = line.starts_with("clearing");
            if (line.starts_with("recorded"))
                turns.insert(number);
            else if (line.starts_with("cleared"))
                turns.clear();
            next = line.starts_with("recorded") ? number + 1 : number;
        }
    }

    // The step after the last one told of may have been done, too.
    bool allows(const std::set<int>& found) const {
        auto withNext = turns;
        withNext.insert(next);
        return found == turns || (isClearing ? found.empty() : found == withNext);
    }

    std::set<int> turns;
    int next = 1;
    bool isClearing = false;
};

std::set<int> turnsIn(const std::string& path) {
    std::set<int> numbers;
    for (const ConversationTurn& turn : MemoryDatabase(path).turns("session"))
        numbers.insert(std::stoi(turn.text));
    return numbers;
}

std::string integrity(const std::string& path) {
    SqlDatabase database(path, SqlDatabase::Access::readOnly);
    SqlStatement check = database.prepare("PRAGMA integrity_check");
    return check.step() ? check.text(0) : "";
}

} // namespace

TEST(MemoryKill, LosesNothingThatWasRecorded) {
    const TemporaryFolder folder;
    const std::string path = folder.file("Memory.store");
    std::mt19937 random(11);
    Account account;
    for (int round = 0; round < 500; ++round) {
        writeFile(folder.file("output"), "");
        {
            ChildProcess recorder(
                {.arguments = {TAVIK_MEMORY_RECORDER, path, std::to_string(account.next)},
                 .environment = {{"HOME", folder.path()}},
                 .outputPath = folder.file("output"),
                 .input = ""});
            while (round % 2 == 0 && readFile(folder.file("output")).empty())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 40'000));
            recorder.kill();
        }
        account.read(readFile(folder.file("output")));
        const std::set<int> found = turnsIn(path);
        ASSERT_TRUE(account.allows(found)) << "round " << round << ", " << found.size()
                                           << " turns where " << account.turns.size() << " are due";
        ASSERT_EQ(integrity(path), "ok") << "round " << round;
        account.turns = found;
        account.next = std::max(account.next, found.empty() ? 0 : *found.rbegin() + 1);
    }
    EXPECT_GT(account.next, 500); // they did get to record
}

} // namespace tavik
