#include "app/AppUpdater.h"

#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/ThreadName.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/json/Json.h"
#include "platform/text/Text.h"

#include <charconv>
#include <fmt/format.h>
#include <utility>
#include <vector>

namespace tavik {

namespace {

constexpr std::chrono::hours betweenLooks{24};
constexpr std::chrono::seconds patience{15};
constexpr std::size_t longestFeed = 64 * 1024;
constexpr std::size_t longestVersion = 32;
constexpr int success = 200;

// Empty for what is no version.
std::vector<unsigned> numbersOf(const std::string& version) {
    std::vector<unsigned> numbers;
    for (const std::string& part : splitDroppingEmpty(version, '.')) {
        unsigned number = 0;
        const char* end = part.data() + part.size();
        const auto read = std::from_chars(part.data(), end, number);
        if (read.ptr != end || read.ec != std::errc())
            return {};
        numbers.push_back(number);
    }
    return numbers;
}

} // namespace

bool isNewer(const std::string& version, const std::string& than) {
    const auto numbers = numbersOf(version);
    return version.size() <= longestVersion && !numbers.empty() && numbers > numbersOf(than);
}

AppUpdater::AppUpdater(Surroundings around)
    : surroundings(std::move(around))
    , work([this](std::stop_token stop) { keepLooking(std::move(stop)); }) {}

void AppUpdater::keepLooking(std::stop_token stop) {
    nameThisThread("ai.tavik.update");
    try {
        while (true) {
            const auto newest = newestVersion(stop);
            if (newest && *newest != told && isNewer(*newest, surroundings.ownVersion)) {
                told = *newest;
                surroundings.notify(
                    fmt::format("Tavik {} is available from your package manager.", told));
            }
            surroundings.clock.sleepFor(betweenLooks, stop);
        }
    } catch (const Cancelled&) {
        // Quitting.
    }
}

std::optional<std::string> AppUpdater::newestVersion(std::stop_token stop) {
    const std::string feed = surroundings.defaults.string("updateFeed").value_or("");
    if (feed.empty())
        return std::nullopt;
    try {
        const HttpResponse response = surroundings.session.send(
            {.url = feed, .timeout = patience, .maximumResponseBytes = longestFeed},
            std::move(stop));
        const auto content = parseJson(response.body);
        auto version = content ? stringMember(*content, "version") : std::nullopt;
        if (response.status == success && version)
            return version;
        log("[update] ⚠ the release feed tells no version");
    } catch (const TransportError& error) {
        log(std::string("[update] the release feed cannot be read: ") + error.what());
    }
    return std::nullopt;
}

} // namespace tavik
