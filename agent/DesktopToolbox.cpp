#include "agent/DesktopToolbox.h"

#include "agent/BuiltInTools.h"
#include "agent/ReadablePage.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/json/Json.h"

#include <algorithm>

namespace tavik {

namespace {

constexpr const char* cancelledText = "TOOL ERROR: Cancelled before execution.";
constexpr const char* notAvailableText = "TOOL ERROR: This tool is not available to Tavik.";

std::string searchTheWeb(const Json& arguments, Brain& brain, std::stop_token stop) {
    const std::string query = stringMember(arguments, "query").value_or("");
    if (query.empty())
        return "Missing search query.";
    try {
        return brain.webSearch(query, stop);
    } catch (const Cancelled&) {
        throw;
    } catch (const std::exception& error) {
        return std::string("Web search failed: ") + error.what();
    }
}

} // namespace

DesktopToolbox DesktopToolbox::build(std::stop_token stop) {
    throwIfStopped(stop);
    return DesktopToolbox(builtInToolSpecs());
}

DesktopToolbox::DesktopToolbox(std::vector<ToolSpec> offered, HttpSession& session)
    : offeredSpecs(std::move(offered))
    , http(&session) {}

std::string DesktopToolbox::execute(const ToolCall& call, Brain& brain,
                                    std::stop_token stop) const {
    if (stop.stop_requested())
        return cancelledText;
    if (!offers(call.name))
        return notAvailableText;
    try {
        return dispatch(call, brain, stop);
    } catch (const Cancelled&) {
        return cancelledText;
    } catch (const std::exception& error) {
        return std::string("TOOL ERROR: ") + error.what();
    }
}

bool DesktopToolbox::offers(const std::string& name) const {
    return std::any_of(offeredSpecs.begin(), offeredSpecs.end(),
                       [&name](const ToolSpec& spec) { return spec.name == name; });
}

// The tools that end a run are offered but never come here.
std::string DesktopToolbox::dispatch(const ToolCall& call, Brain& brain,
                                     std::stop_token stop) const {
    if (call.name == "web_search")
        return searchTheWeb(call.args, brain, stop);
    if (call.name == "fetch_url")
        return fetchPage(call.args, stop);
    return notAvailableText;
}

std::string DesktopToolbox::fetchPage(const Json& arguments, std::stop_token stop) const {
    const std::string url = stringMember(arguments, "url").value_or("");
    if (url.empty())
        return "Missing URL.";
    return fetchReadable(url, *http, stop);
}

} // namespace tavik
