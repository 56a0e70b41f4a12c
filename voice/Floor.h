#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>

namespace tavik {

// Who may speak aloud: the conversation with the user, which takes the floor whenever it begins, or
// an announcement, to which the floor is lent in between. So none is cut off by the other, and
// nothing that an announcement says is taken for the wake phrase or a command. Safe from any
// thread.
class Floor {
public:
    // A conversation has the floor for as long as this lives. An announcement is stopped.
    class Taken {
    public:
        explicit Taken(Floor& floor);
        ~Taken();
        Taken(const Taken&) = delete;
        Taken& operator=(const Taken&) = delete;

    private:
        Floor& floor;
    };

    // An announcement has the floor for as long as this lives. Waits until nobody else has it.
    // Throws Cancelled when `stop` is requested first.
    class Lent {
    public:
        Lent(Floor& floor, std::stop_token stop);
        ~Lent();
        Lent(const Lent&) = delete;
        Lent& operator=(const Lent&) = delete;

        // Stopped when a conversation takes the floor, and with `stop`.
        std::stop_token token() const { return takenBack.get_token(); }

    private:
        Floor& floor;
        std::stop_source takenBack;
        std::stop_callback<std::function<void()>> withTheOuter;
    };

    // The program's.
    static Floor& shared();

    // Whether an announcement has it.
    bool isLent();

private:
    std::mutex mutex;
    std::condition_variable_any changed;
    int conversations = 0;                        // guarded by mutex
    std::optional<std::stop_source> announcement; // guarded by mutex
};

} // namespace tavik
