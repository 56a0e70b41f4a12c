#include "agent/DesktopToolbox.h"

#include "agent/BuiltInTools.h"
#include "agent/EngineTools.h"
#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"

#include <algorithm>
#include <utility>

namespace tavik {

namespace {

constexpr const char* cancelledText = "TOOL ERROR: Cancelled before execution.";
constexpr const char* notAvailableText = "TOOL ERROR: This tool is not available to Tavik.";

// The engine's tools, or why there are none.
std::pair<std::vector<ToolSpec>, std::optional<std::string>> engineTools(MCPHub& engine,
                                                                         std::stop_token stop) {
    try {
        auto specs = allowedEngineTools(engine.tools(std::move(stop)));
        if (!specs.empty())
            return {std::move(specs), std::nullopt};
        return {{}, "the desktop-control engine exposed no usable tools"};
    } catch (const BrainError&) {
        return {{}, "the desktop-control engine failed to start"};
    }
}

} // namespace

DesktopToolbox DesktopToolbox::build(std::stop_token stop, ToolServices services) {
    throwIfStopped(stop);
    std::vector<ToolSpec> specs = builtInToolSpecs();
    const auto [ofEngine, reason] = engineTools(*services.engine, std::move(stop));
    if (reason)
        log("[agent] vamo unavailable: " + *reason);
    specs.insert(specs.end(), ofEngine.begin(), ofEngine.end());
    return DesktopToolbox(std::move(specs), reason, std::move(services));
}

DesktopToolbox::DesktopToolbox(std::vector<ToolSpec> offered,
                               std::optional<std::string> vamoUnavailable, ToolServices given)
    : offeredSpecs(std::move(offered))
    , reasonWithoutEngine(std::move(vamoUnavailable))
    , services(std::move(given)) {}

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
    if (endsRun(call.name))
        return notAvailableText;
    if (auto result = runBuiltInTool(call, services, brain, stop))
        return std::move(*result);
    return runEngineTool(*services.engine, call, std::move(stop));
}

} // namespace tavik
