#pragma once

#include "brains/Brain.h"
#include "platform/http/HttpSession.h"

#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

// The tools of one conversation: what is offered to the model, and the one place where a tool call
// becomes an action.
class DesktopToolbox {
public:
    // What can be offered now. Throws Cancelled.
    static DesktopToolbox build(std::stop_token stop);

    explicit DesktopToolbox(std::vector<ToolSpec> offered,
                            HttpSession& session = sharedHttpSession());

    const std::vector<ToolSpec>& specs() const { return offeredSpecs; }

    // Runs one call and returns the text for the model. Never throws: every failure, a stop
    // included, is a text; one that begins with "TOOL ERROR" counts as a failed call.
    std::string execute(const ToolCall& call, Brain& brain, std::stop_token stop) const;

private:
    bool offers(const std::string& name) const;
    std::string dispatch(const ToolCall& call, Brain& brain, std::stop_token stop) const;
    std::string fetchPage(const Json& arguments, std::stop_token stop) const;

    std::vector<ToolSpec> offeredSpecs;
    HttpSession* http; // outlives the toolbox
};

} // namespace tavik
