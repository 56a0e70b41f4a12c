#pragma once

#include "platform/concurrency/Clock.h"
#include "platform/concurrency/Task.h"
#include "platform/http/HttpSession.h"

#include <functional>
#include <optional>
#include <string>

namespace tavik {

class UserDefaults;

// Tells the user of a newer release, once for each; installing it is the package manager's. Looks
// at the feed that the setting "updateFeed" names, at the start and once a day: a JSON object whose
// "version" is the newest, such as "0.2.0". Without the setting nobody is asked.
class AppUpdater {
public:
    struct Surroundings {
        UserDefaults& defaults;
        HttpSession& session;
        Clock& clock;
        std::string ownVersion;
        std::function<void(const std::string&)> notify; // on a thread of the updater's own
    };

    // Begins to look. What it is given outlives it.
    explicit AppUpdater(Surroundings around);

private:
    void keepLooking(std::stop_token stop);
    std::optional<std::string> newestVersion(std::stop_token stop);

    const Surroundings surroundings;
    std::string told; // the last version that the user was told of
    Task<void> work;  // last: it uses the above
};

// Whether a version of numbers between dots is newer than another. False for what is none.
bool isNewer(const std::string& version, const std::string& than);

} // namespace tavik
