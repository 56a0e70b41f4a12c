#include "tests/ui/OldConversations.h"

#include "memory/MemoryDatabase.h"
#include "platform/text/Folding.h"

#include <chrono>
#include <fmt/format.h>

namespace tavik {

void writeOldConversations(const std::string& path, int count, const std::string& prefix) {
    using namespace std::chrono;
    const MemoryDatabase made(path);
    SqlDatabase database(path, SqlDatabase::Access::readWrite);
    SqlTransaction transaction(database);
    for (int number = 0; number < count; ++number) {
        const auto time = system_clock::now() - hours(number);
        const auto stamp = duration_cast<microseconds>(time.time_since_epoch()).count();
        const std::string session = fmt::format("conversation-{}", number);
        const std::string text = fmt::format("remind me of item {}", number);
        const std::string summary = fmt::format("{}You asked for item {}.", prefix, number);
        database
            .prepare("INSERT INTO turns (session, role, text, folded, timestamp) "
                     "VALUES (?, 'user', ?, ?, ?)")
            .bind(1, session)
            .bind(2, text)
            .bindBytes(3, folded(text))
            .bind(4, stamp)
            .run();
        database
            .prepare("INSERT INTO summaries (session, summary, folded, ended_at) "
                     "VALUES (?, ?, ?, ?)")
            .bind(1, session)
            .bind(2, summary)
            .bindBytes(3, folded(summary))
            .bind(4, stamp)
            .run();
    }
    transaction.commit();
}

} // namespace tavik
