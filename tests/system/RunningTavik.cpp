#include "tests/system/RunningTavik.h"

#include <algorithm>
#include <thread>

namespace tavik {

RunningTavik::RunningTavik(const std::vector<std::string>& arguments, const Json& settings,
                           Environment environment) {
    if (!settings.is_null())
        writeFile(settingsPath(),
                  settings.is_string() ? settings.get<std::string>() : settings.dump());
    environment["HOME"] = folder.path();
    std::vector<std::string> command = {TAVIK_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    child = std::make_unique<ChildProcess>(ChildProcess::Command{
        .arguments = command,
        .environment = std::move(environment),
        .outputPath = folder.file("output"),
        .input = "",
    });
}

bool RunningTavik::prints(const std::string& text, std::chrono::milliseconds patience) const {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (output().find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

Json settingsFor(const std::string& provider, const std::string& host) {
    return {{"onboardingDone", true}, {"provider", provider}, {provider + "Host", host}};
}

RunningTavik::Environment keyFor(const std::string& provider) {
    std::string name = provider + "_API_KEY";
    std::transform(name.begin(), name.end(), name.begin(), ::toupper);
    return {{name, "test-key-of-" + provider}};
}

} // namespace tavik
