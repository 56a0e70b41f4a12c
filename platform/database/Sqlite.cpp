#include "platform/database/Sqlite.h"

#include <cerrno>
#include <cstring>
#include <sqlite3.h>

namespace tavik {

namespace {

constexpr std::chrono::milliseconds usualPatience{2000};
constexpr int instructionsBetweenLooks = 10'000;

// The library itself takes one of these for a full disk, and that not everywhere.
bool isForLackOfRoom(sqlite3* database) {
    int ofFile = 0;
    sqlite3_file_control(database, "main", SQLITE_FCNTL_LAST_ERRNO, &ofFile);
    for (const int error : {ofFile, sqlite3_system_errno(database)})
        if (error == ENOSPC || error == EDQUOT || error == EFBIG)
            return true;
    return false;
}

SqlError::Kind kindOf(int code, sqlite3* database) {
    switch (code & 0xff) {
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
        return database && isForLackOfRoom(database) ? SqlError::Kind::full : SqlError::Kind::other;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return SqlError::Kind::busy;
    case SQLITE_FULL:
        return SqlError::Kind::full;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return SqlError::Kind::corrupt;
    default:
        return SqlError::Kind::other;
    }
}

void check(int code, sqlite3* database) {
    if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE)
        throw SqlError(kindOf(code, database),
                       database ? sqlite3_errmsg(database) : sqlite3_errstr(code));
}

sqlite3* openFile(const std::string& path, SqlDatabase::Access access) {
    sqlite3* opened = nullptr;
    const int mode =
        access == SqlDatabase::Access::readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    const int code = sqlite3_open_v2(path.c_str(), &opened, mode, nullptr);
    if (code != SQLITE_OK) {
        const SqlError error(kindOf(code, opened),
                             opened ? sqlite3_errmsg(opened) : sqlite3_errstr(code));
        sqlite3_close(opened);
        throw error;
    }
    return opened;
}

bool isPast(void* deadline) {
    return std::chrono::steady_clock::now() >
           *static_cast<std::chrono::steady_clock::time_point*>(deadline);
}

int interruptWhenPast(void* deadline) {
    return isPast(deadline) ? 1 : 0;
}

// instr() can take minutes over texts that are long and alike.
void holds(sqlite3_context* context, int, sqlite3_value** values) {
    const auto size = [&](int index) {
        return static_cast<std::size_t>(sqlite3_value_bytes(values[index]));
    };
    const void* whole = sqlite3_value_blob(values[0]); // null when empty
    const void* part = sqlite3_value_blob(values[1]);
    const bool isThere =
        size(1) == 0 || (size(0) > 0 && memmem(whole, size(0), part, size(1)) != nullptr);
    sqlite3_result_int(context, isThere ? 1 : 0);
}

} // namespace

SqlStatement::SqlStatement(Handle prepared)
    : handle(std::move(prepared)) {}

SqlStatement& SqlStatement::bind(int parameter, std::string_view text) {
    check(sqlite3_bind_text64(handle.get(), parameter, text.data(), text.size(), SQLITE_TRANSIENT,
                              SQLITE_UTF8),
          sqlite3_db_handle(handle.get()));
    return *this;
}

SqlStatement& SqlStatement::bind(int parameter, std::int64_t number) {
    check(sqlite3_bind_int64(handle.get(), parameter, number), sqlite3_db_handle(handle.get()));
    return *this;
}

SqlStatement& SqlStatement::bindBytes(int parameter, std::string_view bytes) {
    // The library takes a null pointer for NULL.
    check(sqlite3_bind_blob64(handle.get(), parameter, bytes.empty() ? "" : bytes.data(),
                              bytes.size(), SQLITE_TRANSIENT),
          sqlite3_db_handle(handle.get()));
    return *this;
}

bool SqlStatement::step() {
    const int code = sqlite3_step(handle.get());
    check(code, sqlite3_db_handle(handle.get()));
    return code == SQLITE_ROW;
}

void SqlStatement::run() {
    while (step()) {
    }
}

std::string SqlStatement::text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle.get(), column));
    const int size = sqlite3_column_bytes(handle.get(), column);
    return bytes ? std::string(bytes, static_cast<std::size_t>(size)) : "";
}

std::int64_t SqlStatement::integer(int column) const {
    return sqlite3_column_int64(handle.get(), column);
}

SqlDatabase::SqlDatabase(const std::string& path, Access access)
    : handle(openFile(path, access), sqlite3_close) {
    setPatience(usualPatience);
    check(sqlite3_create_function(handle.get(), "holds", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC,
                                  nullptr, holds, nullptr, nullptr),
          handle.get());
}

void SqlDatabase::setPatience(std::chrono::milliseconds patience) {
    sqlite3_busy_timeout(handle.get(), static_cast<int>(patience.count()));
}

void SqlDatabase::execute(const std::string& statements) {
    check(sqlite3_exec(handle.get(), statements.c_str(), nullptr, nullptr, nullptr), handle.get());
}

SqlStatement SqlDatabase::prepare(std::string_view statement) {
    sqlite3_stmt* prepared = nullptr;
    check(sqlite3_prepare_v2(handle.get(), statement.data(), static_cast<int>(statement.size()),
                             &prepared, nullptr),
          handle.get());
    return SqlStatement({prepared, sqlite3_finalize});
}

std::int64_t SqlDatabase::integer(std::string_view query) {
    SqlStatement statement = prepare(query);
    return statement.step() ? statement.integer(0) : 0;
}

bool SqlDatabase::isSound(std::chrono::milliseconds patience) {
    auto deadline = std::chrono::steady_clock::now() + patience;
    sqlite3_progress_handler(handle.get(), instructionsBetweenLooks, interruptWhenPast, &deadline);
    bool isSound = true;
    try {
        SqlStatement look = prepare("PRAGMA quick_check(1)");
        isSound = !look.step() || look.text(0) == "ok";
    } catch (const SqlError&) {
        isSound = isPast(&deadline);
    }
    sqlite3_progress_handler(handle.get(), 0, nullptr, nullptr);
    return isSound;
}

SqlTransaction::SqlTransaction(SqlDatabase& database)
    : owner(database) {
    owner.execute("BEGIN IMMEDIATE");
}

SqlTransaction::~SqlTransaction() {
    if (!isOpen)
        return;
    try {
        owner.execute("ROLLBACK");
    } catch (const SqlError&) {
        // The library has done so by itself.
    }
}

void SqlTransaction::commit() {
    owner.execute("COMMIT");
    isOpen = false;
}

} // namespace tavik
