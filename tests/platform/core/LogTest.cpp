#include "app/Log.h"
#include "app/Paths.h"
#include "platform/files/AppendFile.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

using testing::HasSubstr;
using testing::MatchesRegex;

namespace tavik {

namespace {

mode_t modeOf(const std::string& path) {
    struct stat status {};
    stat(path.c_str(), &status);
    return status.st_mode & 0777;
}

std::vector<std::string> linesOf(const std::string& path) {
    std::istringstream content(readFile(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(content, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

TEST(Log, StampsEachLineAndKeepsTheOrderOfAThread) {
    TavikLog::clearHistory();
    log("[test] first");
    log("[test] second 🔔");
    TavikLog::flush();
    const auto lines = linesOf(logPath());
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[0],
                MatchesRegex(R"(\[[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\.[0-9]{3}\] \[test\] first)"));
    EXPECT_THAT(lines[1], HasSubstr("] [test] second 🔔"));
    EXPECT_EQ(modeOf(logPath()), 0600U);
}

TEST(Log, ClearingEmptiesBothLogsBetweenWholeLines) {
    writeFile(signalLogPath(), "signal");
    std::vector<std::jthread> writers;
    for (int writer = 0; writer < 4; ++writer)
        writers.emplace_back([] {
            for (int line = 0; line < 500; ++line)
                log("[test] a line that must stay whole");
        });
    TavikLog::clearHistory();
    writers.clear();
    TavikLog::flush();
    EXPECT_EQ(readFile(signalLogPath()), "");
    for (const std::string& line : linesOf(logPath()))
        EXPECT_THAT(line, MatchesRegex(R"(\[.{12}\] \[test\] a line that must stay whole)"));
    std::filesystem::remove(signalLogPath());
    EXPECT_NO_THROW(TavikLog::clearHistory());
}

TEST(AppendFile, CreatesItsFolderAndNarrowsAnOlderFile) {
    const TemporaryFolder folder;
    const std::string path = folder.file("a/b/file");
    AppendFile(path).append("one\n");
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(modeOf(folder.file("a")), 0700U);
    chmod(path.c_str(), 0644);
    AppendFile(path).append("two\n");
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(readFile(path), "one\ntwo\n");
}

TEST(AppendFile, BeginsALineOfItsOwnAfterATornOne) {
    const TemporaryFolder folder;
    const std::string path = folder.file("lines");
    writeFile(path, "one\ntw");
    AppendFile file(path);
    file.append("three\n");
    EXPECT_EQ(readFile(path), "one\ntw\nthree\n");

    // A disk that is full after two more bytes.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{readFile(path).size() + 2, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    file.append("four\n");
    file.append("five\n");
    setrlimit(RLIMIT_FSIZE, &before);
    file.append("six\n");
    EXPECT_EQ(readFile(path), "one\ntw\nthree\nfo\nsix\n");
}

TEST(AppendFile, LosesRecordsQuietlyButNotAFailedClearing) {
    const TemporaryFolder folder;
    writeFile(folder.file("blocked"), "a file where a folder should be");
    AppendFile file(folder.file("blocked/file"));
    file.append("lost");
    EXPECT_THROW(file.truncate(), std::system_error);
}

} // namespace tavik
