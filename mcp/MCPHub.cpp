#include "mcp/MCPHub.h"

#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/ThreadName.h"

#include <exception>
#include <utility>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto callTimeout = 120s;
constexpr auto idleLook = 60s;
constexpr auto longestIdle = 600s;

} // namespace

// One launch, which all who need the engine meanwhile wait for. Guarded by the hub's mutex but for
// the thread.
struct MCPHub::Startup {
    bool isOver = false;
    ClientPointer made; // null: it failed
    std::exception_ptr failure;
    std::jthread thread;
};

MCPHub::MCPHub(LaunchProvider launch, Clock& time)
    : launchProvider(std::move(launch))
    , clock(time)
    , lastUse(time.now()) {}

MCPHub::~MCPHub() {
    shutdown();
    // No lock: nobody else uses a hub that goes. The threads end without one that is held here.
    const auto joined = std::move(ended);
}

MCPHub& MCPHub::shared() {
    static MCPHub hub;
    return hub;
}

std::vector<MCPClient::ToolInfo> MCPHub::tools(std::stop_token stop) {
    touch();
    {
        const std::lock_guard lock(mutex);
        if (cachedTools)
            return *cachedTools;
    }
    auto listed = client(stop)->listTools(stop);
    const std::lock_guard lock(mutex);
    cachedTools = listed;
    return listed;
}

ToolReply MCPHub::call(const std::string& name, const Json& arguments, std::stop_token stop) {
    touch();
    ToolReply reply = client(stop)->callTool(name, arguments, callTimeout, stop);
    touch();
    return reply;
}

void MCPHub::touch() {
    const std::lock_guard lock(mutex);
    lastUse = clock.now();
}

MCPHub::ClientPointer MCPHub::client(std::stop_token stop) {
    throwIfStopped(stop);
    ClientPointer gone; // ends outside the lock
    std::vector<std::shared_ptr<Startup>> joined;
    std::unique_lock lock(mutex);
    joined.swap(ended);
    if (vamo && vamo->alive())
        return vamo;
    gone = std::exchange(vamo, nullptr);
    const auto started = currentStartup();
    const bool isOver = changed.wait(lock, stop, [&] { return started->isOver; });
    lock.unlock();
    if (!isOver)
        throw Cancelled();
    if (started->failure)
        std::rethrow_exception(started->failure);
    return started->made;
}

std::shared_ptr<MCPHub::Startup> MCPHub::currentStartup() {
    if (startup)
        return startup;
    startup = std::make_shared<Startup>();
    startup->thread = std::jthread([this, &started = *startup](std::stop_token stop) {
        nameThisThread("ai.tavik.engine");
        try {
            finish(started, launch(std::move(stop)), nullptr);
        } catch (...) {
            finish(started, nullptr, std::current_exception());
        }
    });
    return startup;
}

MCPHub::ClientPointer MCPHub::launch(std::stop_token stop) {
    const auto provided = launchProvider ? launchProvider() : std::nullopt;
    const EngineLaunch engine = provided ? *provided : findEngine();
    if (!isExecutableFile(engine.command))
        throw BrainError("vamo isn't installed on this Mac, so I can't control the desktop yet.");
    auto made = std::make_shared<MCPClient>("vamo", engine.command, engine.arguments,
                                            engine.isBundled ? std::optional(bundledEnvironment())
                                                             : std::nullopt);
    made->start(stop);
    throwIfStopped(stop);
    return made;
}

void MCPHub::finish(Startup& started, ClientPointer made, std::exception_ptr failure) {
    {
        const std::lock_guard lock(mutex);
        if (startup.get() == &started) {
            vamo = started.made = std::move(made);
            started.failure = std::move(failure);
            ended.push_back(std::exchange(startup, nullptr));
            if (vamo)
                startReaper();
            started.isOver = true;
        } // otherwise it was shut down, and its callers know
    }
    changed.notify_all();
    // A client that nobody wants any more ends here, outside the lock.
}

void MCPHub::startReaper() {
    auto previous = std::exchange(reaper, std::jthread());
    previous.request_stop();
    reaper = std::jthread([this, previous = std::move(previous)](std::stop_token stop) mutable {
        previous = std::jthread(); // joins it
        nameThisThread("ai.tavik.reaper");
        try {
            do
                clock.sleepFor(idleLook, stop);
            while (!reapIfIdle());
        } catch (const Cancelled&) {
            // Shut down.
        }
    });
}

bool MCPHub::reapIfIdle() {
    ClientPointer idle; // ends outside the lock
    const std::lock_guard lock(mutex);
    if (!vamo)
        return false;
    if (clock.now() - lastUse <= longestIdle)
        return false;
    log("[mcp] vamo idle >10 min — shutting it down");
    idle = std::exchange(vamo, nullptr);
    return true;
}

void MCPHub::shutdown() {
    ClientPointer running;
    std::jthread watch;
    {
        const std::lock_guard lock(mutex);
        if (startup) {
            startup->thread.request_stop();
            startup->failure = std::make_exception_ptr(Cancelled());
            startup->isOver = true;
            ended.push_back(std::exchange(startup, nullptr));
        }
        running = std::exchange(vamo, nullptr);
        watch = std::exchange(reaper, std::jthread());
    }
    changed.notify_all();
    if (running)
        running->terminate();
}

} // namespace tavik
