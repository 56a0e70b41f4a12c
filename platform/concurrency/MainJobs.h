#pragma once

#include <functional>
#include <memory>

namespace tavik {

// What an object has to do on the main thread: a job whose turn comes after the object's end does
// nothing. Ends on the main thread, as such an object does.
class MainJobs {
public:
    // From any thread.
    void async(std::function<void()> job) const;

private:
    const std::shared_ptr<char> life = std::make_shared<char>();
};

} // namespace tavik
