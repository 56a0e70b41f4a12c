#include "platform/files/AtomicFile.h"

#include "platform/files/Folders.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tavik {

namespace {

[[noreturn]] void throwErrno(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

// A temporary file beside its target, removed again unless it was renamed over the target.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& target)
        : path(target + ".XXXXXX")
        , descriptor(mkostemp(path.data(), O_CLOEXEC)) {
        if (descriptor < 0)
            throwErrno(target);
    }
    ~TemporaryFile() {
        close(descriptor);
        if (!renamed)
            unlink(path.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void write(std::string_view content) const {
        while (!content.empty()) {
            const ssize_t written = ::write(descriptor, content.data(), content.size());
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                throwErrno(path);
            content.remove_prefix(static_cast<std::size_t>(written));
        }
        if (fsync(descriptor) != 0)
            throwErrno(path);
    }

    void renameTo(const std::string& target) {
        if (rename(path.c_str(), target.c_str()) != 0)
            throwErrno(target);
        renamed = true;
    }

private:
    std::string path;
    int descriptor;
    bool renamed = false;
};

} // namespace

std::optional<std::string> readWholeFile(const std::string& path, std::size_t limit) {
    // Non-blocking, so that a named pipe in the file's place cannot hold the reader.
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        return std::nullopt;
    struct stat status {};
    std::optional<std::string> content;
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
        static_cast<std::size_t>(status.st_size) <= limit) {
        content.emplace(static_cast<std::size_t>(status.st_size), '\0');
        std::size_t filled = 0;
        while (filled < content->size()) {
            const ssize_t count =
                read(descriptor, content->data() + filled, content->size() - filled);
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                break;
            filled += static_cast<std::size_t>(count);
        }
        content->resize(filled);
    }
    close(descriptor);
    return content;
}

void replaceFile(const std::string& path, std::string_view content) {
    std::error_code error;
    createPrivateFolders(std::filesystem::path(path).parent_path().string(), error);
    if (error)
        throw std::system_error(error, path);
    TemporaryFile temporary(path);
    temporary.write(content);
    temporary.renameTo(path);
}

} // namespace tavik
