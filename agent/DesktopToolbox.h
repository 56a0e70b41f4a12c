#pragma once

#include "agent/ToolServices.h"
#include "brains/Brain.h"

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

// The tools of one conversation: what is offered to the model, and the one place where a tool call
// becomes an action.
class DesktopToolbox {
public:
    // What can be offered now: the built-in tools, and those of the desktop-control engine when it
    // answers. Throws Cancelled.
    static DesktopToolbox build(std::stop_token stop, ToolServices services = {});

    // `vamoUnavailable` is the reason why the engine's tools are missing.
    explicit DesktopToolbox(std::vector<ToolSpec> offered,
                            std::optional<std::string> vamoUnavailable = std::nullopt,
                            ToolServices services = {});

    const std::vector<ToolSpec>& specs() const { return offeredSpecs; }
    const std::optional<std::string>& vamoUnavailable() const { return reasonWithoutEngine; }

    // Runs one call and returns the text for the model. Never throws: every failure, a stop
    // included, is a text; one that begins with "TOOL ERROR" counts as a failed call.
    std::string execute(const ToolCall& call, Brain& brain, std::stop_token stop) const;

private:
    bool offers(const std::string& name) const;
    std::string dispatch(const ToolCall& call, Brain& brain, std::stop_token stop) const;

    std::vector<ToolSpec> offeredSpecs;
    std::optional<std::string> reasonWithoutEngine;
    ToolServices services;
};

} // namespace tavik
