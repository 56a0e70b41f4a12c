#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavik {

// What is to be written to a peer that takes it in its own time.
class OutgoingBytes {
public:
    void append(std::string_view bytes) { waiting += bytes; }
    bool isEmpty() const { return waiting.empty(); }
    std::size_t size() const { return waiting.size() - taken; }

    void clear() {
        waiting.clear();
        taken = 0;
    }

    // Offers what waits to `write` until it is all taken or the peer is busy. `write` gets a
    // string_view and returns how many of its bytes were taken, as an optional<size_t>: zero when
    // the peer takes nothing now, nothing at all when it is gone. Then this returns false and
    // forgets what waits.
    template<typename Write>
    bool flush(Write write) {
        while (taken < waiting.size()) {
            const std::optional<std::size_t> count = write(std::string_view(waiting).substr(taken));
            if (count == 0)
                return true;
            taken += count.value_or(0);
            if (!count) {
                clear();
                return false;
            }
        }
        clear();
        return true;
    }

private:
    std::string waiting;
    std::size_t taken = 0; // of its bytes
};

} // namespace tavik
