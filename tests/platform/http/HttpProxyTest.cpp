#include "tests/platform/http/FakeResolver.h"
#include "tests/platform/http/HttpTest.h"
#include "tools/stand-ins/http/RawServer.h"

#include <gio/gio.h>

namespace tavik {

namespace {

// Before anybody asks: a desktop whose settings live in this process only.
const bool hasPrivateDesktop =
    setenv("XDG_CURRENT_DESKTOP", "GNOME", 1) == 0 && setenv("GSETTINGS_BACKEND", "memory", 1) == 0;

// A SOCKS proxy that takes the names of hosts, and answers in their place.
void serveSocks(Peer& peer) {
    peer.read(static_cast<std::size_t>(peer.read(2).at(1)));
    peer.write({"\5\0", 2});
    // Version, command, 0, kind of address and length; after the host comes the port.
    const std::string host = peer.read(static_cast<std::size_t>(peer.read(5).at(4)));
    peer.read(2);
    peer.write({"\5\0\0\1\0\0\0\0\0\0", 10});
    peer.readRequest();
    peer.write(okReply("socks to " + host));
}

template<typename Value>
void setDesktop(const char* schema, const char* key, const char* type, Value value) {
    GSettings* settings = g_settings_new(schema);
    g_settings_set(settings, key, type, value);
    g_object_unref(settings);
}

class HttpProxy : public HttpTest {
protected:
    // How a request for `host` leaves this machine while the environment holds `variables`.
    std::string wayTo(const std::string& host,
                      const std::map<std::string, std::string>& variables = {}) {
        for (const auto& [name, value] : variables)
            setenv(name.c_str(), value.c_str(), 1);
        std::string way;
        try {
            way = fetch("http://" + host + "/").body;
        } catch (const TransportError& error) {
            way = error.failure == TransportFailure::cannotFindHost ? "direct" : error.what();
        }
        for (const auto& [name, value] : variables)
            unsetenv(name.c_str());
        return way;
    }

    RawServer proxy{[](Peer& peer) {
        const std::string request = peer.readRequest();
        peer.write(okReply(request.substr(0, request.find(" HTTP"))));
    }};
    RawServer socks{serveSocks};
    const std::string proxyUrl = "http://127.0.0.1:" + std::to_string(proxy.port());
    const std::string socksUrl = "socks5h://127.0.0.1:" + std::to_string(socks.port());
    const std::string viaProxy = "GET http://nowhere.test/";
    const std::string viaSocks = "socks to nowhere.test";
};

} // namespace

TEST_F(HttpProxy, IsTheEnvironments) {
    const struct {
        std::map<std::string, std::string> variables;
        std::string way;
    } cases[] = {
        {{{"http_proxy", proxyUrl}}, viaProxy},
        {{{"HTTP_PROXY", proxyUrl}}, viaProxy},
        {{{"all_proxy", proxyUrl}}, viaProxy},
        {{{"ALL_PROXY", socksUrl}}, viaSocks},
        {{{"https_proxy", proxyUrl}}, "direct"},
        {{{"http_proxy", ""}, {"HTTP_PROXY", proxyUrl}}, viaProxy},
        {{{"http_proxy", proxyUrl}, {"all_proxy", socksUrl}}, viaProxy},
        {{{"http_proxy", proxyUrl}, {"no_proxy", "a.test,nowhere.test"}}, "direct"},
        {{{"HTTP_PROXY", proxyUrl}, {"NO_PROXY", "*"}}, "direct"},
    };
    for (const auto& [variables, way] : cases)
        EXPECT_EQ(wayTo("nowhere.test", variables), way) << variables.begin()->first;
}

TEST_F(HttpProxy, IsTheDesktopsWhereTheEnvironmentNamesNone) {
    EXPECT_EQ(wayTo("nowhere.test"), "direct");
    setDesktop("org.gnome.system.proxy.http", "host", "s", "127.0.0.1");
    setDesktop("org.gnome.system.proxy.http", "port", "i", proxy.port());
    setDesktop("org.gnome.system.proxy", "mode", "s", "manual");
    EXPECT_EQ(wayTo("nowhere.test"), viaProxy);
    EXPECT_EQ(wayTo("nowhere.test", {{"http_proxy", socksUrl}}), viaSocks);
    // A script, and nobody who could run it.
    setDesktop("org.gnome.system.proxy", "mode", "s", "auto");
    EXPECT_EQ(wayTo("nowhere.test"), "direct");
    setDesktop("org.gnome.system.proxy", "mode", "s", "none");
}

TEST_F(HttpProxy, IsTheFirstOfTheDesktopsThatAnswers) {
    const std::string refused = "http://127.0.0.1:" + std::to_string(refusingPort());
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{refused, proxyUrl}, "GET http://proxied.test/"},
        {{"quic://127.0.0.1:1", "socks" + socksUrl.substr(7)}, "socks to proxied.test"},
        {{refused, refused}, "Could not connect to proxied.test."},
    };
    for (const auto& [proxies, way] : cases) {
        setFakeProxies(proxies);
        EXPECT_EQ(wayTo("proxied.test"), way);
    }
}

TEST_F(HttpProxy, IsNotWaitedForLongerThanThreeSeconds) {
    const StalledLookups stalled;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(wayTo("stalled-proxies.test"), "direct");
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    EXPECT_NEAR(taken.count(), 3, 0.5);
}

TEST_F(HttpProxy, IsNotAskedForThisMachine) {
    PageServer server;
    EXPECT_EQ(wayTo(server.url("").substr(7), {{"http_proxy", proxyUrl}}), "here");
}

} // namespace tavik
