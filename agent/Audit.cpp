#include "agent/Audit.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "platform/concurrency/SerialQueue.h"
#include "platform/files/AppendFile.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <fmt/format.h>

namespace tavik {

namespace {

using WallTime = std::chrono::system_clock::time_point;

// 2025-01-31T12:34:56.789Z
std::string internetTime(WallTime time) {
    const auto milliseconds =
        std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch());
    const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(milliseconds).count();
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", utc.tm_year + 1900,
                       utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                       milliseconds.count() - seconds * 1000LL);
}

// The library would write NaN and infinities as null, and fail on binary values.
bool isEncodable(const Json& value) {
    if (value.is_structured())
        return std::all_of(value.begin(), value.end(), isEncodable);
    if (value.is_number_float())
        return std::isfinite(value.get<double>());
    return !value.is_binary() && !value.is_discarded();
}

std::string encode(const std::string& kind, const Json& fields) {
    Json event = {{"ts", internetTime(std::chrono::system_clock::now())}, {"event", kind}};
    for (const auto& [key, value] : fields.items())
        if (!event.contains(key))
            event[key] = value;
    return compactJson(event) + "\n";
}

class AuditWriter {
public:
    AuditWriter()
        : file(auditPath())
        , queue("ai.tavik.audit") {}

    void write(std::string kind, Json fields) {
        queue.async([this, kind = std::move(kind), fields = std::move(fields)] {
            writeEvent(kind, fields);
        });
    }

    void clear() {
        queue.sync([this] { file.truncate(); });
    }

    void flush() {
        queue.sync([] {});
    }

    const std::string& path() const { return file.path(); }

private:
    void writeEvent(const std::string& kind, const Json& fields) {
        if (!fields.is_object() || !isEncodable(fields))
            return log("[audit] dropped un-encodable event: " + kind);
        file.append(encode(kind, fields));
    }

    AppendFile file;   // used on the queue only
    SerialQueue queue; // last: it writes its waiting events before the file closes
};

AuditWriter& writer() {
    // The log is there first, so that it outlives the last event.
    [[maybe_unused]] static const std::string& logFirst = TavikLog::path();
    static AuditWriter instance;
    return instance;
}

} // namespace

void Audit::record(std::string kind, Json fields) {
    writer().write(std::move(kind), std::move(fields));
}

void Audit::clearHistory() {
    writer().clear();
}

const std::string& Audit::path() {
    return writer().path();
}

void Audit::flush() {
    writer().flush();
}

} // namespace tavik
