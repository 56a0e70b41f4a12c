#include "app/SingleInstanceGuard.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "platform/files/Folders.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tavik {

std::optional<SingleInstanceGuard> SingleInstanceGuard::acquire() {
    const std::filesystem::path path = instanceLockPath();
    std::error_code error;
    createPrivateFolders(path.parent_path().string(), error);
    if (error) {
        log("[single-instance] couldn't create lock directory: " + error.message());
        return std::nullopt;
    }
    const int opened = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (opened < 0) {
        log("[single-instance] couldn't open lock file: errno " + std::to_string(errno));
        return std::nullopt;
    }
    if (flock(opened, LOCK_EX | LOCK_NB) != 0) {
        close(opened);
        return std::nullopt;
    }
    return SingleInstanceGuard(opened);
}

SingleInstanceGuard::SingleInstanceGuard(int lockedDescriptor)
    : descriptor(lockedDescriptor) {}

SingleInstanceGuard::SingleInstanceGuard(SingleInstanceGuard&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)) {}

SingleInstanceGuard::~SingleInstanceGuard() {
    if (descriptor < 0)
        return;
    flock(descriptor, LOCK_UN);
    close(descriptor);
}

} // namespace tavik
