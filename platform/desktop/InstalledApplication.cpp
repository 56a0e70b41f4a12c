#include "platform/desktop/InstalledApplication.h"

#include "platform/desktop/GioHandles.h"

#include <algorithm>
#include <gio/gdesktopappinfo.h>
#include <mutex>
#include <tuple>

namespace tavik {

namespace {

std::string fileName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::string withoutSuffix(std::string id) {
    constexpr std::string_view suffix = ".desktop";
    if (id.ends_with(suffix))
        id.resize(id.size() - suffix.size());
    return id;
}

InstalledApplication described(GDesktopAppInfo* entry) {
    GAppInfo* const app = G_APP_INFO(entry);
    return {
        .id = withoutSuffix(borrowedText(g_app_info_get_id(app))),
        .path = borrowedText(g_desktop_app_info_get_filename(entry)),
        .displayName = borrowedText(g_app_info_get_display_name(app)),
        .name = borrowedText(g_app_info_get_name(app)),
        .plainName = takenText(g_desktop_app_info_get_string(entry, "Name")),
        .genericName = borrowedText(g_desktop_app_info_get_generic_name(entry)),
        .plainGenericName = takenText(g_desktop_app_info_get_string(entry, "GenericName")),
        .executable = fileName(borrowedText(g_app_info_get_executable(app))),
        .windowClass = borrowedText(g_desktop_app_info_get_startup_wm_class(entry)),
        .isShown = g_app_info_should_show(app) != FALSE,
    };
}

InstalledApplications readEntries() {
    InstalledApplications applications;
    GList* const entries = g_app_info_get_all();
    for (GList* link = entries; link; link = link->next)
        applications.push_back(described(G_DESKTOP_APP_INFO(link->data)));
    g_list_free_full(entries, g_object_unref);
    const auto rank = [](const InstalledApplication& app) {
        return std::tie(app.displayName, app.id);
    };
    std::sort(applications.begin(), applications.end(), [&](const auto& one, const auto& other) {
        return one.isShown != other.isShown ? one.isShown : rank(one) < rank(other);
    });
    return applications;
}

// The entries as last read. GIO tells of changes through the main context that its monitor was made
// in; it gets one of its own, since a program without windows runs no other.
class Catalogue {
public:
    Catalogue()
        : context(g_main_context_new()) {
        g_main_context_push_thread_default(context.get());
        monitor.reset(g_app_info_monitor_get());
        g_main_context_pop_thread_default(context.get());
        g_signal_connect(monitor.get(), "changed", G_CALLBACK(onChange), this);
    }

    std::shared_ptr<const InstalledApplications> current() {
        const std::lock_guard lock(mutex);
        while (g_main_context_iteration(context.get(), FALSE)) {
        }
        if (!entries)
            entries = std::make_shared<const InstalledApplications>(readEntries());
        return entries;
    }

private:
    // Called from the iteration above.
    static void onChange(GAppInfoMonitor*, gpointer self) {
        static_cast<Catalogue*>(self)->entries.reset();
    }

    std::mutex mutex;
    const GioContext context;
    GioObject<GAppInfoMonitor> monitor;
    std::shared_ptr<const InstalledApplications> entries; // guarded by mutex; none when out of date
};

} // namespace

std::shared_ptr<const InstalledApplications> installedApplications() {
    static auto& catalogue = *new Catalogue; // a stuck reader may outlive the program's last line
    return catalogue.current();
}

} // namespace tavik
