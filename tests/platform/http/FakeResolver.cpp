#include "tests/platform/http/FakeResolver.h"

#include "platform/concurrency/Locked.h"

#include <atomic>
#include <chrono>
#include <dlfcn.h>
#include <gio/gio.h>
#include <netdb.h>
#include <thread>

namespace tavik {

namespace {

std::atomic<bool> isHeld = false;
std::atomic<int> hanging = 0;

void hang() {
    ++hanging;
    isHeld.wait(true);
    --hanging;
}

Locked<std::vector<std::string>>& fakeProxies() {
    // Never destroyed: a look-up may still be on its way out when the program ends.
    static auto& proxies = *new Locked<std::vector<std::string>>;
    return proxies;
}

bool isFor(const std::string& url, const std::string& host) {
    return url.starts_with("http://" + host + ":");
}

} // namespace

StalledLookups::StalledLookups() {
    isHeld = true;
}

StalledLookups::~StalledLookups() {
    isHeld = false;
    isHeld.notify_all();
    while (hanging > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void setFakeProxies(const std::vector<std::string>& uris) {
    fakeProxies().with([&](auto& proxies) { proxies = uris; });
}

} // namespace tavik

// Both take the place of the libraries' functions for the whole program.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                           addrinfo** result) {
    const std::string name = node ? node : "";
    if (name == "nowhere.test" || name == "stalled-proxies.test")
        return EAI_NONAME;
    if (name == "stalled.test")
        tavik::hang();
    static const auto original =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return name == "stalled.test" ? EAI_AGAIN : original(node, service, hints, result);
}

extern "C" gchar** g_proxy_resolver_lookup(GProxyResolver* resolver, const gchar* url,
                                           GCancellable* cancellable, GError** error) {
    if (tavik::isFor(url, "stalled-proxies.test"))
        tavik::hang();
    static const auto original = reinterpret_cast<decltype(&g_proxy_resolver_lookup)>(
        dlsym(RTLD_NEXT, "g_proxy_resolver_lookup"));
    if (!tavik::isFor(url, "proxied.test"))
        return original(resolver, url, cancellable, error);
    return tavik::fakeProxies().with([](const auto& proxies) {
        gchar** copy = g_new0(gchar*, proxies.size() + 1);
        for (std::size_t i = 0; i < proxies.size(); ++i)
            copy[i] = g_strdup(proxies[i].c_str());
        return copy;
    });
}
