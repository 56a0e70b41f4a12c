#include "voice/Floor.h"

#include "platform/concurrency/Cancelled.h"

#include <utility>

namespace tavik {

Floor& Floor::shared() {
    static Floor floor;
    return floor;
}

bool Floor::isLent() {
    const std::lock_guard lock(mutex);
    return announcement.has_value();
}

Floor::Taken::Taken(Floor& theFloor)
    : floor(theFloor) {
    auto interrupted = [this] {
        const std::lock_guard lock(floor.mutex);
        ++floor.conversations;
        return floor.announcement;
    }();
    // Outside the lock: what the request wakes gives the floor back.
    if (interrupted)
        interrupted->request_stop();
}

Floor::Taken::~Taken() {
    const std::lock_guard lock(floor.mutex);
    --floor.conversations;
    floor.changed.notify_all();
}

Floor::Lent::Lent(Floor& theFloor, std::stop_token stop)
    : floor(theFloor)
    , withTheOuter(stop, [this] { takenBack.request_stop(); }) {
    std::unique_lock lock(floor.mutex);
    const auto isFree = [this] { return floor.conversations == 0 && !floor.announcement; };
    if (!floor.changed.wait(lock, std::move(stop), isFree))
        throw Cancelled();
    floor.announcement = takenBack;
}

Floor::Lent::~Lent() {
    const std::lock_guard lock(floor.mutex);
    floor.announcement.reset();
    floor.changed.notify_all();
}

} // namespace tavik
