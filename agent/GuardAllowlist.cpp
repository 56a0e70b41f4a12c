#include "agent/GuardAllowlist.h"

#include "app/Log.h"
#include "platform/files/AtomicFile.h"
#include "platform/json/Json.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>

namespace tavik {

namespace {

constexpr std::size_t maximumFileBytes = 1024 * 1024;
constexpr std::size_t maximumPatterns = 1000;
constexpr std::chrono::milliseconds matchingTime(500);

bool isString(const Json& value) {
    return value.is_string();
}

// A list with anything else than strings in it is a mistake, and exempts nothing.
std::vector<std::string> expressionsIn(const std::string& path) {
    const auto content = readWholeFile(path, maximumFileBytes);
    const auto settings = content ? parseJson(*content) : std::nullopt;
    const Json* list = settings ? member(*settings, "allow") : nullptr;
    if (!list || !list->is_array() || !std::all_of(list->begin(), list->end(), isString))
        return {};
    auto expressions = list->get<std::vector<std::string>>();
    expressions.resize(std::min(expressions.size(), maximumPatterns));
    return expressions;
}

} // namespace

GuardAllowlist::GuardAllowlist(const std::string& path) {
    for (const std::string& expression : expressionsIn(path))
        if (auto pattern = UserPattern::compile(expression))
            patterns.push_back(std::move(*pattern));
    if (!patterns.empty())
        log(fmt::format("[guard] loaded {} allowlist pattern(s)", patterns.size()));
}

bool GuardAllowlist::exempts(std::string_view text) const {
    const auto deadline = std::chrono::steady_clock::now() + matchingTime;
    return std::any_of(patterns.begin(), patterns.end(), [&](const UserPattern& pattern) {
        return pattern.matches(text, deadline).value_or(false);
    });
}

} // namespace tavik
