#include "platform/files/AppendFile.h"

#include "platform/files/Folders.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tavik {

AppendFile::AppendFile(std::string path)
    : filePath(std::move(path)) {}

AppendFile::~AppendFile() {
    if (descriptor >= 0)
        close(descriptor);
}

bool AppendFile::open() {
    if (triedToOpen)
        return descriptor >= 0;
    triedToOpen = true;
    std::error_code ignored;
    createPrivateFolders(std::filesystem::path(filePath).parent_path().string(), ignored);
    descriptor = ::open(filePath.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return false;
    fchmod(descriptor, 0600);
    isTorn = endsInsideLine();
    return true;
}

bool AppendFile::endsInsideLine() const {
    const off_t length = lseek(descriptor, 0, SEEK_END);
    char last = '\n';
    return length > 0 && pread(descriptor, &last, 1, length - 1) == 1 && last != '\n';
}

void AppendFile::append(std::string_view line) {
    if (!open() || (isTorn && !write("\n")))
        return;
    isTorn = !write(line) && endsInsideLine();
}

bool AppendFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

void AppendFile::truncate() {
    if (!open())
        throw std::system_error(std::make_error_code(std::errc::io_error), filePath);
    if (ftruncate(descriptor, 0) != 0)
        throw std::system_error(errno, std::generic_category(), filePath);
    isTorn = false;
}

} // namespace tavik
