#include "tests/platform/http/FakeResolver.h"

#include <condition_variable>
#include <dlfcn.h>
#include <mutex>
#include <netdb.h>
#include <string_view>

namespace {

struct Stall {
    std::mutex mutex;
    std::condition_variable changed;
    bool isHeld = false; // guarded by mutex
    int waiting = 0;     // guarded by mutex
};

// Never destroyed: a resolver's thread may still be on its way out when the program ends.
Stall& stall() {
    static Stall& instance = *new Stall;
    return instance;
}

int hang() {
    std::unique_lock lock(stall().mutex);
    ++stall().waiting;
    stall().changed.notify_all();
    stall().changed.wait(lock, [] { return !stall().isHeld; });
    --stall().waiting;
    stall().changed.notify_all();
    return EAI_AGAIN;
}

} // namespace

// Takes the place of the C library's function for the whole program, libcurl included.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                           addrinfo** result) {
    const std::string_view name = node ? node : "";
    if (name == "nowhere.test")
        return EAI_NONAME;
    if (name == "stalled.test")
        return hang();
    static const auto real =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(node, service, hints, result);
}

namespace tavik {

StalledLookups::StalledLookups() {
    const std::lock_guard lock(stall().mutex);
    stall().isHeld = true;
}

StalledLookups::~StalledLookups() {
    std::unique_lock lock(stall().mutex);
    stall().isHeld = false;
    stall().changed.notify_all();
    stall().changed.wait(lock, [] { return stall().waiting == 0; });
}

} // namespace tavik
