#include "mcp/server/RequestHandler.h"

#include <system_error>
#include <utility>

#ifndef TAVIK_VERSION
#define TAVIK_VERSION "development"
#endif

namespace tavik {

namespace {

// Of one client, so that none can take all the threads.
constexpr std::size_t maximumRunning = 8;
constexpr std::size_t maximumWaiting = 1000;

constexpr const char* usualProtocol = "2024-11-05";

constexpr const char* disabledText =
    "Tavik's MCP access is currently disabled — enable \"Allow external agents (MCP)\" in Tavik's "
    "Settings → Integrations.";

Json initializeResult(const Json* parameters) {
    const auto asked = parameters ? stringMember(*parameters, "protocolVersion") : std::nullopt;
    return {{"protocolVersion", asked.value_or(usualProtocol)},
            {"capabilities", {{"tools", Json::object()}}},
            {"serverInfo", {{"name", "tavik"}, {"version", TAVIK_VERSION}}}};
}

Json callResult(const ToolReply& reply) {
    return {{"content", Json::array({{{"type", "text"}, {"text", reply.text}}})},
            {"isError", reply.isError}};
}

Json argumentsOf(const Json* parameters) {
    const Json* arguments = parameters ? member(*parameters, "arguments") : nullptr;
    return arguments && arguments->is_object() ? *arguments : Json::object();
}

} // namespace

RequestHandler::RequestHandler(ServerTools& serverTools, RunInPool pool, RunInLoop loop)
    : tools(serverTools)
    , runInPool(std::move(pool))
    , runInLoop(std::move(loop)) {}

void RequestHandler::handle(const ClientPointer& from, const Json& request) {
    const Json* id = member(request, "id");
    if (!id)
        return; // nobody waits for an answer, so nothing is done either
    const std::string method = stringMember(request, "method").value_or("");
    const Json* parameters = member(request, "params");
    if (method == "initialize")
        from->reply(*id, initializeResult(parameters));
    else if (method == "ping")
        from->reply(*id, Json::object());
    else if (method == "tools/list")
        begin(from, {*id, [this](std::stop_token stop) -> Json {
                         return {{"tools", tools.toolSpecs(std::move(stop))}};
                     }});
    else if (method == "tools/call")
        callTool(from, *id, parameters);
    else if (method != "notifications/initialized" && method != "notifications/cancelled")
        from->replyError(*id, "Method not supported: " + method);
}

void RequestHandler::callTool(const ClientPointer& from, const Json& id, const Json* parameters) {
    if (!tools.isEnabled())
        return from->reply(id, callResult({disabledText, true}));
    begin(from, {id, [this, name = parameters ? stringMember(*parameters, "name").value_or("") : "",
                      arguments = argumentsOf(parameters)](std::stop_token stop) {
                     return callResult(tools.execute(name, arguments, std::move(stop)));
                 }});
}

void RequestHandler::begin(const ClientPointer& from, Call call) {
    Calls& calls = callsOf[from];
    if (calls.running < maximumRunning)
        run(from, std::move(call));
    else if (calls.waiting.size() < maximumWaiting)
        calls.waiting.push_back(std::move(call));
    else
        from->close("client cut off with too many calls waiting");
}

void RequestHandler::run(const ClientPointer& from, Call call) {
    ++callsOf[from].running;
    try {
        runInPool([this, from, call = std::move(call)](std::stop_token stop) {
            runInLoop([this, from, id = call.id, result = call.result(std::move(stop))]() mutable {
                finish(from, id, std::move(result));
            });
        });
    } catch (const std::system_error&) {
        from->close("client cut off for want of a thread");
    }
}

void RequestHandler::finish(const ClientPointer& from, const Json& id, Json result) {
    from->reply(id, std::move(result));
    const auto found = callsOf.find(from);
    if (found == callsOf.end() || !from->isOpen())
        return; // nothing more is begun for a client that is gone
    Calls& calls = found->second;
    --calls.running;
    if (calls.waiting.empty())
        return;
    Call next = std::move(calls.waiting.front());
    calls.waiting.pop_front();
    run(from, std::move(next));
}

void RequestHandler::forget(const ClientPointer& client) {
    callsOf.erase(client);
}

} // namespace tavik
