#include "agent/AgentSession.h"

#include "agent/Audit.h"
#include "agent/CommandRun.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <fmt/format.h>

namespace tavik {

namespace {

constexpr std::size_t maximumOpenApplications = 12;

std::string contextLine(const DesktopContext& context) {
    auto applications = context.openApplications;
    applications.resize(std::min(applications.size(), maximumOpenApplications));
    const std::string& frontmost = context.frontmostApplication;
    return fmt::format("[Frontmost app: {}. Open apps: {}.]\n",
                       frontmost.empty() ? "unknown" : frontmost, joined(applications, ", "));
}

} // namespace

AgentSession::AgentSession(std::shared_ptr<Brain> model, std::string identifier,
                           AgentSurroundings around)
    : brain(std::move(model))
    , identity(std::move(identifier))
    , surroundings(std::move(around))
    , guardrails(surroundings.clipboard) {}

AgentResult AgentSession::handle(const std::string& command,
                                 const std::function<bool()>& isCancelled, std::stop_token stop) {
    const DesktopToolbox& tools = readyToolbox(stop);
    beginTurn(command, stop);
    CommandRun run(*brain, tools, transcript, *surroundings.clock, {guardrails, userTurn},
                   {isCancelled, stop});
    return run.run();
}

const DesktopToolbox& AgentSession::readyToolbox(std::stop_token stop) {
    if (!toolbox)
        toolbox = surroundings.buildToolbox(stop);
    if (!toolbox)
        throw BrainError("Tool setup failed.");
    return *toolbox;
}

void AgentSession::beginTurn(const std::string& command, std::stop_token stop) {
    transcript.addUser(userText(command, std::move(stop)));
    guardrails.beginUserTurn(command, ++userTurn);
    Audit::record("command", {{"chars", characterCount(command)}, {"brain", brain->label()}});
}

// The command behind what the model should know of the moment; the note about the last conversation
// comes with the first command only.
std::string AgentSession::userText(const std::string& command, std::stop_token stop) const {
    std::string text = contextLine(surroundings.readContext(std::move(stop))) + command;
    if (const auto& reason = toolbox->vamoUnavailable())
        text = fmt::format("[Note: desktop-control tools are unavailable right now: {}]\n{}",
                           *reason, text);
    if (!messages().empty())
        return text;
    const auto recap = surroundings.recap(identity);
    return recap ? *recap + "\n" + text : text;
}

} // namespace tavik
