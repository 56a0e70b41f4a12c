#include "platform/desktop/DesktopApplications.h"

#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/desktop/ApplicationSearch.h"
#include "platform/desktop/ApplicationStart.h"
#include "platform/desktop/BoundedCall.h"
#include "platform/desktop/GioHandles.h"
#include "platform/desktop/LaunchedPrograms.h"
#include "platform/desktop/WindowManager.h"
#include "platform/http/WebAddress.h"

#include <gio/gdesktopappinfo.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto patience = 4000ms;
constexpr auto activationPatience = 500ms;

// Whether the application runs with a window, which then is at the front. Throws LaunchError when
// its window stays where it is.
bool isBroughtToFront(const InstalledApplication& app, const InstalledApplications& applications) {
    const auto connection = XConnection::open();
    if (!connection)
        return false;
    WindowManager manager(*connection);
    if (!manager.isRunning())
        return false;
    const auto isOfApp = [&](const DesktopWindow& window) {
        return isProgramOf(window.program, app, applications);
    };
    for (const DesktopWindow& window : manager.windowsFromFront())
        if (window.isOrdinary && isOfApp(window)) {
            if (!manager.activate(window, isOfApp, steady_clock::now() + activationPatience))
                throw LaunchError("It is running, but its window did not come to the front.");
            return true;
        }
    return false;
}

bool openNow(const std::string& name, LaunchedPrograms& programs, std::stop_token stop) {
    const auto applications = installedApplications();
    const InstalledApplication* const app = findApplication(*applications, name);
    if (!app)
        return false;
    throwIfStopped(stop);
    if (!isBroughtToFront(*app, *applications))
        startApplication(app->path, "", programs, std::move(stop));
    return true;
}

std::string defaultEntryFor(const std::string& scheme) {
    const GioObject<GAppInfo> handler(g_app_info_get_default_for_uri_scheme(scheme.c_str()));
    return handler
               ? borrowedText(g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(handler.get())))
               : "";
}

bool openUrlNow(const std::string& url, const std::string& scheme, LaunchedPrograms& programs,
                std::stop_token stop) {
    const std::string entry = defaultEntryFor(scheme);
    if (entry.empty())
        return false;
    startApplication(entry, url, programs, std::move(stop));
    return true;
}

} // namespace

DesktopApplications::DesktopApplications()
    : programs(std::make_shared<LaunchedPrograms>()) {}

DesktopApplications::~DesktopApplications() = default;

bool DesktopApplications::open(const std::string& name, std::stop_token stop) {
    const auto opened = callWithin<bool>(patience, std::move(stop),
                                         [name, started = programs](std::stop_token abandoned) {
                                             return openNow(name, *started, std::move(abandoned));
                                         });
    if (!opened)
        throw LaunchError("The desktop did not answer in time.");
    return *opened;
}

bool DesktopApplications::openUrl(const std::string& url, std::stop_token stop) {
    const auto address = WebAddress::parse(url);
    if (!address)
        return false;
    try {
        return callWithin<bool>(
                   patience, std::move(stop),
                   [url, scheme = address->scheme, started = programs](std::stop_token abandoned) {
                       return openUrlNow(url, scheme, *started, std::move(abandoned));
                   })
            .value_or(false);
    } catch (const LaunchError& error) {
        log(std::string("[desktop] an address could not be opened: ") + error.what());
        return false;
    }
}

Applications& desktopApplications() {
    static DesktopApplications applications;
    return applications;
}

} // namespace tavik
