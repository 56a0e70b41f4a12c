#pragma once

#include "tools/demo/WallTime.h"

#include <string>
#include <vector>

namespace tavik::demo {

// What happened when, for people.
class Timeline {
public:
    void add(WallTime time, std::string what, std::string note = "");

    // One line an event in the order of time, as seconds from `zero`.
    std::string text(WallTime zero) const;

private:
    struct Event {
        WallTime time;
        std::string what;
        std::string note;
    };
    std::vector<Event> events;
};

// "0.42 s".
std::string inSeconds(WallTime from, WallTime to);

} // namespace tavik::demo
