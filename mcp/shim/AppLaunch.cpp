#include "mcp/shim/AppLaunch.h"

#include "app/Paths.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <unistd.h>

namespace tavik {

namespace {

constexpr int firstOwnDescriptor = 3;

bool isInstalled() {
    std::error_code ignored;
    return std::filesystem::exists(desktopEntryPath(), ignored);
}

void withoutOurDescriptors(posix_spawn_file_actions_t& actions) {
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, standard, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, firstOwnDescriptor);
    posix_spawn_file_actions_addchdir_np(&actions, "/");
}

void inItsOwnSession(posix_spawnattr_t& attributes) {
    sigset_t ignoredByUs;
    sigemptyset(&ignoredByUs);
    sigaddset(&ignoredByUs, SIGPIPE);
    sigaddset(&ignoredByUs, SIGCHLD);
    posix_spawnattr_setsigdefault(&attributes, &ignoredByUs);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
}

} // namespace

void launchTavikApp() {
    if (!isInstalled())
        return;
    std::signal(SIGCHLD, SIG_IGN); // nobody waits for it
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    withoutOurDescriptors(actions);
    inItsOwnSession(attributes);
    std::string path = executablePath();
    const std::array<char*, 2> arguments = {path.data(), nullptr};
    posix_spawn(nullptr, path.c_str(), &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
}

} // namespace tavik
