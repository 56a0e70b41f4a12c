#include "ui/DisplayChoice.h"

#include "platform/desktop/DisplayCheck.h"

#include <QFile>
#include <QLibraryInfo>
#include <cstdlib>
#include <string_view>

namespace tavik {

namespace {

constexpr const char* platformVariable = "QT_QPA_PLATFORM";

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

bool hasPlugin(const QString& name) {
    return QFile::exists(QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms/libq" + name +
                         ".so");
}

bool useX11() {
    return hasPlugin("xcb") && !environment("DISPLAY").empty() && xServerAnswers();
}

} // namespace

bool chooseDisplay() {
    const std::string_view chosen = environment(platformVariable);
    if (!chosen.empty())
        return !chosen.starts_with("xcb") || useX11();
    if (useX11())
        return setenv(platformVariable, "xcb", 1) == 0;
    if (environment("WAYLAND_DISPLAY").empty() || !hasPlugin("wayland-generic"))
        return false;
    return setenv(platformVariable, "wayland", 1) == 0;
}

} // namespace tavik
