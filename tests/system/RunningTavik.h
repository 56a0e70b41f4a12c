#pragma once

#include "platform/json/Json.h"
#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <memory>
#include <string>
#include <vector>

namespace tavik {

// The real program, in a home folder of its own.
class RunningTavik {
public:
    using Environment = std::map<std::string, std::optional<std::string>>;

    // `settings` becomes the settings file; a null value leaves it out.
    RunningTavik(const std::vector<std::string>& arguments, const Json& settings,
                 Environment environment = {});

    ChildProcess& process() { return *child; }
    std::string home() const { return folder.path(); }
    std::string settingsPath() const { return folder.file("Library/Preferences/ai.tavik.json"); }

    // All it printed on both streams.
    std::string output() const { return readFile(folder.file("output")); }
    // Waits until the output holds `text`; false after `patience`.
    bool prints(const std::string& text,
                std::chrono::milliseconds patience = std::chrono::seconds(20)) const;

private:
    TemporaryFolder folder;
    std::unique_ptr<ChildProcess> child;
};

// Settings and key that make the scripted model at `host` the brain, speaking as `provider`.
Json settingsFor(const std::string& provider, const std::string& host);
RunningTavik::Environment keyFor(const std::string& provider);

} // namespace tavik
