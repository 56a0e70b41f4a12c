#include "app/Log.h"
#include "app/Paths.h"
#include "app/SingleInstanceGuard.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <cstdlib>
#include <sys/stat.h>

namespace tavik {

TEST(SingleInstance, OnlyOneHoldsTheLockUntilItGoes) {
    {
        const auto first = SingleInstanceGuard::acquire();
        ASSERT_TRUE(first);
        EXPECT_FALSE(SingleInstanceGuard::acquire());
        struct stat status {};
        ASSERT_EQ(stat(instanceLockPath().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600U);
    }
    EXPECT_TRUE(SingleInstanceGuard::acquire());
}

TEST(SingleInstance, RefusesToRunWithoutALock) {
    log("[test] the log is open before the home folder changes");
    const std::string before = std::getenv("HOME");
    const TemporaryFolder folder;
    writeFile(folder.file("home"), "a file where a folder should be");
    setenv("HOME", folder.file("home").c_str(), 1);
    EXPECT_FALSE(SingleInstanceGuard::acquire());
    setenv("HOME", before.c_str(), 1);
    TavikLog::flush();
    EXPECT_NE(readFile(logPath()).find("[single-instance] couldn't create lock directory: "),
              std::string::npos);
}

} // namespace tavik
