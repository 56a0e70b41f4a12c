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
#include <mutex>
#include <optional>
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
        , addresses(address.empty() ? nullptr : g_list_append(nullptr, address.data())) {
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
    g_app_info_launch_uris_async(G_APP_INFO(entry.get()), addresses.get(), nullptr,
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
    g_desktop_app_info_launch_uris_as_manager(entry.get(), addresses.get(), nullptr,
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

// While this lives, GIO starts programs. It goes on a little after each, in the main context of
// that moment, and holds the bus until it has done so. So that is a context that lasts, and what
// was left of the program before is done first: a bus that has ended is not met again.
class Starting {
public:
    Starting()
        : lock(mutex()) {
        g_main_context_push_thread_default(context());
        while (g_main_context_iteration(context(), FALSE)) {
        }
    }
    ~Starting() { g_main_context_pop_thread_default(context()); }
    Starting(const Starting&) = delete;
    Starting& operator=(const Starting&) = delete;

private:
    // Never destroyed: a stuck start may outlive the program's last line.
    static std::mutex& mutex() {
        static auto& starting = *new std::mutex;
        return starting;
    }
    static GMainContext* context() {
        static GMainContext* const lasting = g_main_context_new();
        return lasting;
    }

    const std::lock_guard<std::mutex> lock;
};

// Nothing when the application is not a program of ours.
std::optional<pid_t> started(const Start& start, const std::stop_token& stop) {
    const Starting starting;
    const GioObject<GCancellable> cancellable(g_cancellable_new());
    const std::stop_callback giveUp(stop, [&] { g_cancellable_cancel(cancellable.get()); });
    // GIO's own look for the bus cannot be interrupted, so it has to find one that answers.
    const auto bus = sharedSessionBus(cancellable.get());
    throwIfStopped(stop);
    if (!bus || !start.isOverBus())
        return start.asProgram();
    GioCalls calls(stop);
    start.overBus(calls);
    return std::nullopt;
}

} // namespace

void startApplication(const std::string& entryPath, const std::string& address,
                      LaunchedPrograms& programs, std::stop_token stop) {
    const auto process = started(Start(entryPath, address), stop);
    if (!process)
        return;
    auto ended = programs.adopt(*process);
    if (ended.wait_for(watch) == std::future_status::ready)
        throwIfFailed(ended.get());
}

} // namespace tavik
