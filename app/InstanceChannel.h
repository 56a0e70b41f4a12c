#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace tavik {

class ListeningSocket;

// How a second start of the program brings the first to the front.
class InstanceChannel {
public:
    // What the desktop gave the second start to prove that the user wanted it, for the windows of
    // the first; empty for none.
    using Show = std::function<void(const std::string& activationToken)>;

    // Serves this user's programs until destruction; `show` is called on a thread of its own. Where
    // that cannot be, the log says so, and second starts change nothing.
    explicit InstanceChannel(Show show);
    ~InstanceChannel();
    InstanceChannel(const InstanceChannel&) = delete;
    InstanceChannel& operator=(const InstanceChannel&) = delete;

private:
    std::unique_ptr<ListeningSocket> socket;
    std::jthread server;
};

// For the second: asks the first to come to the front and waits until it heard, three seconds at
// most. False when it did not.
bool showRunningTavik();

} // namespace tavik
