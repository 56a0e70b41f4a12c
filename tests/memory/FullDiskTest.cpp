#include "platform/text/Text.h"
#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

using namespace std::chrono_literals;

namespace tavik {

namespace {

constexpr const char* account = "begun\n"
                                "notice: The disk is full, so conversations are not remembered for "
                                "now.\n"
                                "at first: not kept\n"
                                "with some room: kept\n"
                                "filled once: full\n"
                                "with room again: kept\n"
                                "filled twice: full\n"
                                "with room again: kept\n"
                                "lost: 0\n";

// What the program prints but for the log, when `shell` has started it as "$0" with "$1", a folder.
std::string accountFrom(const std::vector<std::string>& wrapper, const std::string& shell) {
    const TemporaryFolder folder;
    const TemporaryFolder elsewhere;
    std::vector<std::string> arguments = wrapper;
    arguments.insert(arguments.end(),
                     {"sh", "-c", shell, TAVIK_MEMORY_ON_FULL_DISK, folder.path()});
    ChildProcess program({.arguments = arguments,
                          .environment = {{"HOME", elsewhere.path()}},
                          .outputPath = elsewhere.file("output"),
                          .input = ""});
    EXPECT_TRUE(program.waitFor(100s).has_value());
    std::string printed;
    for (const std::string& line : splitDroppingEmpty(readFile(elsewhere.file("output")), '\n'))
        if (!line.starts_with('['))
            printed += line + "\n";
    return printed;
}

} // namespace

TEST(FullDisk, IsToldOfOnceAndGoneWhenThereIsRoomAgain) {
    const std::string printed =
        accountFrom({"unshare", "--user", "--map-root-user", "--mount"},
                    R"(mount -t tmpfs -o size=8m none "$1" && exec "$0" "$1" filler)");
    if (!printed.starts_with("begun"))
        GTEST_SKIP() << "no file system of our own can be mounted here: " << printed;
    EXPECT_EQ(printed, account);
}

TEST(FullDisk, IsWhatALimitToTheSizeOfFilesLooksLike) {
    EXPECT_EQ(accountFrom({}, R"(exec "$0" "$1" limit)"), account);
}

} // namespace tavik
