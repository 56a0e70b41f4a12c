#pragma once

#include "platform/desktop/GioHandles.h"

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>

namespace tavik {

// The object that has the portal's interfaces, and sends their signals.
inline constexpr const char* portalPath = "/org/freedesktop/portal/desktop";

// Why the portal did not do what it was asked.
class PortalError : public std::runtime_error {
public:
    enum class Kind {
        missing, // it is not there, or cannot do such a thing
        silent,  // it did not answer in time, or ended meanwhile
        refused  // it said no
    };

    PortalError(Kind why, int number, const std::string& reason)
        : std::runtime_error(reason)
        , kind(why)
        , status(number) {}

    const Kind kind;
    const int status; // the portal's own where it refused
};

// A connection of its own to the desktop portal, by which the portal tells programs and their
// requests apart. Belongs to the thread that makes it, which also runs the signals' functions while
// it waits in here. Everything that waits throws Cancelled when `stop` is requested. Private to
// this folder.
class PortalConnection {
public:
    using Limit = std::chrono::milliseconds;
    using Signal = std::function<void(GVariant* values)>;

    // Throws PortalError when there is no session bus.
    explicit PortalConnection(std::stop_token stop);
    ~PortalConnection();
    PortalConnection(const PortalConnection&) = delete;
    PortalConnection& operator=(const PortalConnection&) = delete;

    // The values that a method replies with, which are of the type. Throws PortalError.
    GioVariant call(const char* interface, const char* method, GVariant* arguments,
                    const char* replyType, Limit limit);

    // Where the answer to a request will be told, as a text for the option "handle_token".
    std::string nextToken();
    // Calls a method that tells its answer later, with the arguments for `token`, and waits for
    // that. Gives the dictionary of results. Throws PortalError, also when `isPointless()`.
    GioVariant request(const char* interface, const char* method, const std::string& token,
                       GVariant* arguments, Limit callLimit, Limit answerLimit,
                       const std::function<bool()>& isPointless);

    // Runs `handle` for each such signal of the portal, for as long as this lives. The names are
    // literals.
    void listen(const char* interface, const char* signal, const std::string& path, Signal handle);

    // Returns true as soon as `condition()` holds, and false after `limit`, if there is one.
    bool waitUntil(const std::function<bool()>& condition, std::optional<Limit> limit);

    // Whether the portal has ended since, or the bus.
    bool isOver() const { return over; }

private:
    struct Listener {
        Signal handle;
        guint subscription = 0;
    };
    using Listeners = std::list<Listener>;

    void watchPortal();
    Listeners::iterator subscribe(const char* sender, const char* interface, const char* signal,
                                  const char* path, const char* argument, Signal handle);
    void unsubscribe(Listeners::iterator listener);
    std::string requestPath(const std::string& token) const;
    void closeRequest(const std::string& path);
    void interrupt();

    const std::stop_token stop;
    const GioContext context;
    const GioObject<GCancellable> cancelling;
    GioObject<GDBusConnection> bus;
    Listeners listeners;
    bool over = false;
    int requests = 0;
    std::optional<std::stop_callback<std::function<void()>>> onStop;
};

} // namespace tavik
