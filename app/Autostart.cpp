#include "app/Autostart.h"

#include "app/Paths.h"
#include "platform/files/AtomicFile.h"
#include "platform/text/Environment.h"

#include <filesystem>
#include <fmt/format.h>

namespace tavik::Autostart {

namespace {

std::string entryPath() {
    const std::string configuration = environmentValue("XDG_CONFIG_HOME");
    return (configuration.empty() ? pathInHome(".config") : configuration) +
           "/autostart/ai.tavik.desktop";
}

// A path in quotes, as such entries have it.
std::string quoted(const std::string& path) {
    std::string text = "\"";
    for (const char each : path) {
        if (each == '"' || each == '\\' || each == '`' || each == '$')
            text += "\\\\";
        text += each;
        if (each == '%')
            text += each;
    }
    return text + "\"";
}

} // namespace

bool isOn() {
    std::error_code ignored;
    return std::filesystem::exists(entryPath(), ignored);
}

void switchTo(bool isOn) {
    if (!isOn) {
        std::filesystem::remove(entryPath());
        return;
    }
    replaceFile(entryPath(), fmt::format("[Desktop Entry]\nType=Application\nName=Tavik\n"
                                         "Exec={}\nIcon=ai.tavik\nTerminal=false\n",
                                         quoted(executablePath())));
}

} // namespace tavik::Autostart
