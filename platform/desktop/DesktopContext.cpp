#include "platform/desktop/DesktopContext.h"

#include "platform/desktop/AccessibleApplications.h"
#include "platform/desktop/BoundedCall.h"
#include "platform/desktop/DisplayCheck.h"
#include "platform/desktop/WindowManager.h"

#include <algorithm>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto patience = 150ms;
constexpr auto patienceWithBus = patience / 2;  // the rest is for the windows
constexpr auto patienceWithApplications = 50ms; // of that

constexpr const char* unknown = "unknown";

void addName(std::vector<std::string>& names, const std::string& name) {
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
        names.push_back(name);
}

void setFrontmost(DesktopContext& context, const std::string& name) {
    if (!name.empty())
        context.frontmostApplication = name;
}

DesktopContext contextOfWindows() {
    DesktopContext context{unknown, {}};
    const auto connection = XConnection::open();
    if (!connection)
        return context;
    WindowManager manager(*connection);
    if (!manager.isRunning())
        return context;
    const auto applications = installedApplications();
    if (const auto active = manager.activeWindow())
        setFrontmost(context, nameOf(active->program, *applications));
    for (const DesktopWindow& window : manager.windows())
        if (window.isOrdinary)
            addName(context.openApplications, nameOf(window.program, *applications));
    return context;
}

DesktopContext contextOfAccessibility(const std::stop_token& stop) {
    DesktopContext context{unknown, {}};
    const auto found = accessibleApplications(steady_clock::now() + patienceWithApplications, stop);
    const auto applications = installedApplications();
    for (const AccessibleApplication& application : found) {
        const std::string name = nameOf(application.program, *applications);
        if (application.isActive)
            setFrontmost(context, name);
        if (application.hasWindow)
            addName(context.openApplications, name);
    }
    return context;
}

DesktopContext joinedContexts(DesktopContext first, const DesktopContext& second) {
    if (first.frontmostApplication == unknown)
        first.frontmostApplication = second.frontmostApplication;
    for (const std::string& name : second.openApplications)
        addName(first.openApplications, name);
    return first;
}

} // namespace

DesktopContext readDesktopContext(std::stop_token stop) {
    const DesktopContext nothing{unknown, {}};
    const auto readWindows = [](const std::stop_token&) { return contextOfWindows(); };
    if (!isWaylandSession())
        return callWithin<DesktopContext>(patience, std::move(stop), readWindows).value_or(nothing);
    const auto accessible =
        callWithin<DesktopContext>(patienceWithBus, stop, contextOfAccessibility).value_or(nothing);
    const auto windows =
        callWithin<DesktopContext>(patience - patienceWithBus, stop, readWindows).value_or(nothing);
    return joinedContexts(accessible, windows);
}

void prepareDesktopContext() {
    runAlone([](const std::stop_token&) { installedApplications(); });
}

} // namespace tavik
