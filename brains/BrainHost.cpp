#include "brains/BrainHost.h"

#include "app/Log.h"
#include "platform/http/WebAddress.h"
#include "platform/text/Text.h"

#include <fmt/format.h>

namespace tavik {

namespace {

bool mayReceiveKey(const std::string& host) {
    const auto address = WebAddress::parse(host);
    return address && !address->hasUser && !address->hasQueryOrFragment &&
           (address->isEncrypted() || address->isLoopback());
}

} // namespace

std::string brainHost(UserDefaults& defaults, const BrainProvider& provider) {
    std::string host = trimmed(defaults.string(provider.hostSetting).value_or(""));
    while (host.ends_with('/'))
        host.pop_back();
    if (host.empty())
        return provider.publicHost;
    if (mayReceiveKey(host))
        return host;
    log(fmt::format("[brain] the setting \"{}\" is neither an https address nor an http address of "
                    "this machine — using {}",
                    provider.hostSetting, provider.publicHost));
    return provider.publicHost;
}

} // namespace tavik
