#include "tools/demo/Timeline.h"

#include <algorithm>
#include <fmt/format.h>

namespace tavik::demo {

void Timeline::add(WallTime time, std::string what, std::string note) {
    events.push_back({time, std::move(what), std::move(note)});
}

std::string Timeline::text(WallTime zero) const {
    auto sorted = events;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Event& first, const Event& second) {
        return first.time < second.time;
    });
    std::string result;
    for (const Event& event : sorted) {
        const std::string what =
            event.note.empty() ? event.what : fmt::format("{:<36}{}", event.what, event.note);
        result += fmt::format("{:8.2f} s  {}\n", secondsBetween(zero, event.time), what);
    }
    return result;
}

std::string inSeconds(WallTime from, WallTime to) {
    return fmt::format("{:.2f} s", secondsBetween(from, to));
}

} // namespace tavik::demo
