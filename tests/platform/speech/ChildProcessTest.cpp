#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;

ChildProcess::Command shell(const std::string& script, const std::string& outputPath = "") {
    return {.arguments = {"sh", "-c", script},
            .environment = {{"GREETING", "hello"}, {"HOME", std::nullopt}},
            .outputPath = outputPath,
            .input = "from outside\n"};
}

bool isAlive(pid_t process) {
    return kill(process, 0) == 0;
}

// A child that was not waited for stays in the list as a zombie.
bool isGone(pid_t process) {
    for (int look = 0; look < 300; ++look) {
        const std::string state = readFile("/proc/" + std::to_string(process) + "/stat");
        if (!isAlive(process) || state.find(") Z") != std::string::npos)
            return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

} // namespace

TEST(ChildProcess, TellsHowItEnded) {
    struct Case {
        const char* script;
        int status;
    };
    for (const Case& each : {Case{"true", 0}, {"exit 3", 3}, {"kill -TERM $$", 128 + SIGTERM}}) {
        ChildProcess child(shell(each.script));
        EXPECT_EQ(child.waitFor(10s), each.status) << each.script;
        EXPECT_FALSE(child.isRunning());
        EXPECT_EQ(child.terminate(), each.status) << "the end is told again";
    }
}

TEST(ChildProcess, GetsItsEnvironmentInputAndOutput) {
    const TemporaryFolder folder;
    ChildProcess child(shell("read line; echo $GREETING $line ${HOME-homeless}; echo error >&2",
                             folder.file("output")));
    EXPECT_EQ(child.waitFor(10s), 0);
    EXPECT_EQ(readFile(folder.file("output")), "hello from outside homeless\nerror\n");
}

TEST(ChildProcess, AMissingProgramIsAnError) {
    EXPECT_THROW(ChildProcess({.arguments = {"no-such-program"}}), std::system_error);
}

TEST(ChildProcess, OneThatDoesNotListenIsKilled) {
    const TemporaryFolder folder;
    ChildProcess child(
        shell("trap '' TERM; echo ready; while :; do sleep 0.05; done", folder.file("output")));
    while (readFile(folder.file("output")).empty())
        std::this_thread::sleep_for(5ms);
    EXPECT_EQ(child.waitFor(0ms), std::nullopt);
    EXPECT_EQ(child.terminate(100ms), 128 + SIGKILL);

    ChildProcess suspended(shell("sleep 60"));
    suspended.suspend();
    EXPECT_EQ(suspended.terminate(), 128 + SIGTERM);
}

TEST(ChildProcess, DoesNotOutliveItsOwner) {
    pid_t process = 0;
    { process = ChildProcess(shell("exec sleep 60")).pid(); }
    EXPECT_FALSE(isAlive(process));
}

TEST(ChildProcess, DoesNotOutliveAProgramThatIsKilled) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t owner = fork();
    if (owner == 0) {
        const ChildProcess child(shell("exec sleep 60"));
        const pid_t process = child.pid();
        [[maybe_unused]] const auto written = write(ends[1], &process, sizeof process);
        kill(getpid(), SIGKILL);
    }
    pid_t process = 0;
    ASSERT_EQ(read(ends[0], &process, sizeof process), static_cast<ssize_t>(sizeof process));
    close(ends[0]);
    close(ends[1]);
    ChildProcess({.arguments = {"true"}}); // other children do not disturb
    EXPECT_TRUE(isGone(process));
    waitpid(owner, nullptr, 0);
}

} // namespace tavik
