#include "platform/desktop/ApplicationStart.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/desktop/Applications.h"
#include "platform/desktop/GioCalls.h"
#include "platform/desktop/LaunchedPrograms.h"
#include "platform/desktop/SessionBus.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <gio/gdesktopappinfo.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;

// How long an application is looked at after its start.
constexpr auto watch = 400ms;

struct FreeList {
    void operator()(GList* list) const { g_list_free(list); }
};

// An application and what it is to open.
class Start {
public:
    Start(const std::string& entryPath, std::string addressToOpen)
        : entry(g_desktop_app_info_new_from_filename(entryPath.c_str()))
        , address(std::move(addressToOpen))
        , addresses(address.empty() ? nullptr : g_list_append(nullptr, address.data()))
        , surroundings(g_app_launch_context_new()) {
        if (!entry)
            throw LaunchError("Its desktop entry is gone.");
    }

    bool isOverBus() const {
        return g_desktop_app_info_get_boolean(entry.get(), "DBusActivatable") != FALSE;
    }

    void overBus(GioCalls& calls) const;
    // Returns the number of the process.
    pid_t asProgram() const;

private:
    const GioObject<GDesktopAppInfo> entry;
    std::string address;
    const std::unique_ptr<GList, FreeList> addresses;
    const GioObject<GAppLaunchContext> surroundings;
};

void throwUnlessCancelled(GError* error) {
    const GioError owner(error);
    if (!error || g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED))
        return;
    g_dbus_error_strip_remote_error(error);
    throw LaunchError(error->message);
}

// GIO's blocking way does not tell whether the application could be activated. At the end of the
// watch only our wait for the answer is cancelled: the application goes on.
void Start::overBus(GioCalls& calls) const {
    GError* error = nullptr;
    g_app_info_launch_uris_async(G_APP_INFO(entry.get()), addresses.get(), surroundings.get(),
                                 calls.cancellable(), GioCalls::onResult,
                                 calls.expect([&error](GObject* app, GAsyncResult* result) {
                                     g_app_info_launch_uris_finish(G_APP_INFO(app), result, &error);
                                 }));
    calls.awaitAll(std::chrono::steady_clock::now() + watch);
    throwUnlessCancelled(error);
}

// Between fork and exec: only calls that are safe there. A session of its own keeps the signals of
// our terminal away.
void becomeIndependent(gpointer) {
    setsid();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
}

void rememberProcess(GDesktopAppInfo*, GPid process, gpointer remembered) {
    *static_cast<pid_t*>(remembered) = process;
}

// GLib gives no descriptor on but the standard ones.
pid_t Start::asProgram() const {
    pid_t process = 0;
    GError* error = nullptr;
    const int flags = G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD | G_SPAWN_STDOUT_TO_DEV_NULL |
                      G_SPAWN_STDERR_TO_DEV_NULL;
    g_desktop_app_info_launch_uris_as_manager(entry.get(), addresses.get(), surroundings.get(),
                                              static_cast<GSpawnFlags>(flags), becomeIndependent,
                                              nullptr, rememberProcess, &process, &error);
    throwUnlessCancelled(error);
    return process;
}

void throwIfFailed(int status) {
    if (WIFSIGNALED(status))
        throw LaunchError(fmt::format("It was ended at once by signal {} ({}).", WTERMSIG(status),
                                      sigdescr_np(WTERMSIG(status))));
    if (WEXITSTATUS(status) != 0)
        throw LaunchError(
            fmt::format("It ended at once, with exit status {}.", WEXITSTATUS(status)));
}

} // namespace

void startApplication(const std::string& entryPath, const std::string& address,
                      LaunchedPrograms& programs, std::stop_token stop) {
    const Start start(entryPath, address);
    GioCalls calls(stop);
    // GIO's own look for the bus cannot be interrupted, so it has to find one that answers.
    const auto bus = sessionBus(calls.cancellable());
    throwIfStopped(stop);
    if (bus && start.isOverBus())
        return start.overBus(calls);
    auto ended = programs.adopt(start.asProgram());
    if (ended.wait_for(watch) == std::future_status::ready)
        throwIfFailed(ended.get());
}

} // namespace tavik
