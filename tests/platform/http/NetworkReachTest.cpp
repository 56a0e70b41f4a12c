#include "platform/http/NetworkReach.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tavik {

// In a process that has no network but an idle loopback.
TEST(NetworkReach, NoticesThatThereIsNoNetwork) {
    constexpr int noSandbox = 77;
    const pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0 && unshare(CLONE_NEWNET) != 0)
            _exit(noSandbox);
        _exit(hasRouteOut() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == noSandbox)
        GTEST_SKIP() << "the system gives no network of its own to a process";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(NetworkReach, FindsADefaultRoute) {
    // Without a default route in the table there may still be rules that lead out.
    if (readFile("/proc/net/route").find("\t00000000\t") == std::string::npos)
        GTEST_SKIP() << "this machine has no default route";
    EXPECT_TRUE(hasRouteOut());
}

} // namespace tavik
