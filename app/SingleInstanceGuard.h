#pragma once

#include <optional>

namespace tavik {

// Holds the lock that only one running Tavik of a user can hold. Destruction releases it.
class SingleInstanceGuard {
public:
    // None when another process holds the lock, or the lock file cannot be made: Tavik never runs
    // without the lock. The latter is logged.
    static std::optional<SingleInstanceGuard> acquire();

    ~SingleInstanceGuard();
    SingleInstanceGuard(SingleInstanceGuard&& other) noexcept;
    SingleInstanceGuard& operator=(SingleInstanceGuard&&) = delete;

private:
    explicit SingleInstanceGuard(int lockedDescriptor);

    int descriptor;
};

} // namespace tavik
