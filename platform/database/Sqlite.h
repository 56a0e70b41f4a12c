#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

// SQLite behind types that own what they open. A connection and its statements belong to one thread
// at a time. Manual: https://www.sqlite.org/c3ref/intro.html
namespace tavik {

class SqlError : public std::runtime_error {
public:
    enum class Kind { busy, full, corrupt, other };

    SqlError(Kind cause, const std::string& description)
        : std::runtime_error(description)
        , kind(cause) {}

    Kind kind;
};

// One prepared statement; parameters and columns count from 1 and 0, as in SQL and in the library.
class SqlStatement {
public:
    SqlStatement& bind(int parameter, std::string_view text);
    SqlStatement& bind(int parameter, std::int64_t number);
    SqlStatement& bindBytes(int parameter, std::string_view bytes);

    // Whether there is a (further) row. Throws SqlError.
    bool step();
    // For statements without rows. Throws SqlError.
    void run();

    std::string text(int column) const;
    std::int64_t integer(int column) const;

private:
    friend class SqlDatabase;
    using Handle = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

    explicit SqlStatement(Handle prepared);

    Handle handle;
};

class SqlDatabase {
public:
    enum class Access { readOnly, readWrite };

    // Opens a file that exists. Waits for other processes for up to two seconds at each step,
    // unless told otherwise. Throws SqlError.
    SqlDatabase(const std::string& path, Access access);
    void setPatience(std::chrono::milliseconds patience);

    // Statements may use holds(BLOB, BLOB), which tells whether the second is somewhere in the
    // first, in a time that grows no faster than their sizes.

    // Runs statements without parameters; rows are dropped. Throws SqlError.
    void execute(const std::string& statements);
    SqlStatement prepare(std::string_view statement);
    // The first column of the first row, 0 without one. Throws SqlError.
    std::int64_t integer(std::string_view query);

    // Whether the file's structure is sound, as far as can be told within `patience`. Throws
    // SqlError.
    bool isSound(std::chrono::milliseconds patience);

private:
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> handle;
};

// All or nothing of what is done while it lives: `commit` keeps it, destruction undoes it.
class SqlTransaction {
public:
    // Waits until no other process writes. Throws SqlError.
    explicit SqlTransaction(SqlDatabase& database);
    ~SqlTransaction();
    SqlTransaction(const SqlTransaction&) = delete;
    SqlTransaction& operator=(const SqlTransaction&) = delete;

    // Throws SqlError, and has then undone everything.
    void commit();

private:
    SqlDatabase& owner;
    bool isOpen = true;
};

} // namespace tavik
