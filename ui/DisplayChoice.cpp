#include "ui/DisplayChoice.h"

#include "platform/desktop/DisplayCheck.h"
#include "platform/text/Environment.h"

#include <QFile>
#include <QLibraryInfo>
#include <cstdlib>

namespace tavik {

namespace {

constexpr const char* platformVariable = "QT_QPA_PLATFORM";

bool hasPlugin(const QString& name) {
    return QFile::exists(QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms/libq" + name +
                         ".so");
}

bool useX11() {
    return hasPlugin("xcb") && !environmentValue("DISPLAY").empty() && xServerAnswers({});
}

} // namespace

bool chooseDisplay() {
    const std::string chosen = environmentValue(platformVariable);
    if (!chosen.empty())
        return !chosen.starts_with("xcb") || useX11();
    if (useX11())
        return setenv(platformVariable, "xcb", 1) == 0;
    if (environmentValue("WAYLAND_DISPLAY").empty() || !hasPlugin("wayland-generic"))
        return false;
    return setenv(platformVariable, "wayland", 1) == 0;
}

} // namespace tavik
