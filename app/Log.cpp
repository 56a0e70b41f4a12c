#include "app/Log.h"

#include "app/Paths.h"
#include "platform/concurrency/SerialQueue.h"
#include "platform/files/AppendFile.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <system_error>
#include <unistd.h>

namespace tavik {

namespace {

using WallTime = std::chrono::system_clock::time_point;

std::string timeOfDay(WallTime time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() %
        1000;
    std::tm local{};
    localtime_r(&seconds, &local);
    return fmt::format("{:02}:{:02}:{:02}.{:03}", local.tm_hour, local.tm_min, local.tm_sec,
                       milliseconds);
}

void emptyIfPresent(const std::string& path) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor < 0 && errno == ENOENT)
        return;
    const bool emptied = descriptor >= 0 && ftruncate(descriptor, 0) == 0;
    const int error = errno;
    if (descriptor >= 0)
        close(descriptor);
    if (!emptied)
        throw std::system_error(error, std::generic_category(), path);
}

class LogWriter {
public:
    LogWriter()
        : file(logPath())
        , queue("ai.tavik.log") {}

    // The stamp is taken when the line is written, on the queue, so that stamps never run
    // backwards.
    void write(std::string message) {
        queue.async([this, message = std::move(message)] { writeLine(message); });
    }

    void clear() {
        queue.sync([this] {
            file.truncate();
            emptyIfPresent(signalLogPath());
        });
    }

    void flush() {
        queue.sync([] {});
    }

    const std::string& path() const { return file.path(); }

private:
    void writeLine(const std::string& message) {
        const std::string line =
            fmt::format("[{}] {}\n", timeOfDay(std::chrono::system_clock::now()), message);
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fflush(stdout);
        file.append(line);
    }

    AppendFile file;   // used on the queue only
    SerialQueue queue; // last: it writes its waiting lines before the file closes
};

LogWriter& writer() {
    static LogWriter instance;
    return instance;
}

} // namespace

void log(std::string message) {
    TavikLog::log(std::move(message));
}

const std::string& TavikLog::path() {
    return writer().path();
}

void TavikLog::log(std::string message) {
    writer().write(std::move(message));
}

void TavikLog::clearHistory() {
    writer().clear();
}

void TavikLog::flush() {
    writer().flush();
}

} // namespace tavik
