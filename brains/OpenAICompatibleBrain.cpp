#include "brains/OpenAICompatibleBrain.h"

#include "brains/BrainPost.h"
#include "brains/ProviderSearch.h"
#include "platform/http/WebAddress.h"
#include "platform/text/Text.h"

#include <utility>

namespace tavik {

namespace {

Json toolCallEntry(const ToolCall& call) {
    if (!call.raw.empty())
        return call.raw;
    return {{"id", call.id},
            {"type", "function"},
            {"function", {{"name", call.name}, {"arguments", compactJson(call.args)}}}};
}

Json wireMessage(const UserMessage& user) {
    return {{"role", "user"}, {"content", user.text}};
}

Json wireMessage(const AssistantMessage& assistant) {
    Json message = {{"role", "assistant"}, {"content", assistant.text.value_or("")}};
    for (const ToolCall& call : assistant.toolCalls)
        message["tool_calls"].push_back(toolCallEntry(call));
    return message;
}

Json wireMessage(const ToolResultMessage& result) {
    return {{"role", "tool"},
            {"tool_call_id", result.callID},
            {"name", result.name},
            {"content", result.text}};
}

Json toolOffers(const std::vector<ToolSpec>& tools) {
    Json offers = Json::array();
    for (const ToolSpec& tool : tools) {
        const Json function = {{"name", tool.name},
                               {"description", tool.description},
                               {"parameters", tool.parameters}};
        offers.push_back({{"type", "function"}, {"function", function}});
    }
    return offers;
}

[[noreturn]] void failIncomplete() {
    throw BrainError("The AI returned an incomplete action. Nothing in that action batch was run. "
                     "Please try again.");
}

std::string requiredText(const Json& object, std::string_view key) {
    auto text = stringMember(object, key);
    if (!text || text->empty())
        failIncomplete();
    return std::move(*text);
}

ToolCall parsedToolCall(const Json& entry) {
    const Json* function = member(entry, "function");
    if (!function || !function->is_object())
        failIncomplete();
    auto args = parseJson(requiredText(*function, "arguments"));
    if (!args || !args->is_object())
        failIncomplete();
    return {requiredText(entry, "id"), requiredText(*function, "name"), std::move(*args), entry};
}

} // namespace

OpenAICompatibleBrain::OpenAICompatibleBrain(Settings chosen, HttpSession& http, Clock& time)
    : settings(std::move(chosen))
    , session(http)
    , clock(time) {}

std::string OpenAICompatibleBrain::label() const {
    return settings.providerName + "/" + settings.model;
}

BrainReply OpenAICompatibleBrain::chat(const std::vector<AgentMessage>& messages,
                                       const std::vector<ToolSpec>& tools, std::stop_token stop) {
    const Json reply =
        post(makeRequest(settings.baseURL), chatBody(messages, tools), std::move(stop));
    const Json* message = firstChoiceMessage(reply);
    if (!message)
        throw BrainError(capitalized(settings.providerName) +
                         " sent back an empty answer. Try again.");
    auto text = stringMember(*message, "content");
    if (text && text->empty())
        text.reset();
    return {std::move(text), parseToolCalls(member(*message, "tool_calls"))};
}

Json OpenAICompatibleBrain::chatBody(const std::vector<AgentMessage>& messages,
                                     const std::vector<ToolSpec>& tools) const {
    Json sent = Json::array({{{"role", "system"}, {"content", settings.system}}});
    for (const AgentMessage& message : messages)
        sent.push_back(std::visit([](const auto& entry) { return wireMessage(entry); }, message));
    const bool countsReasoning =
        settings.providerName == "openai" && lowercased(settings.model).starts_with("gpt-5");
    Json body = {{"model", settings.model},
                 {"messages", std::move(sent)},
                 {countsReasoning ? "max_completion_tokens" : "max_tokens", 1500}};
    if (!tools.empty())
        body["tools"] = toolOffers(tools);
    if (settings.reasoningEffort)
        body["reasoning_effort"] = *settings.reasoningEffort;
    return body;
}

std::vector<ToolCall> OpenAICompatibleBrain::parseToolCalls(const Json* value) {
    if (!value || value->is_null())
        return {};
    if (!value->is_array())
        failIncomplete();
    std::vector<ToolCall> calls;
    for (const Json& entry : *value)
        calls.push_back(parsedToolCall(entry));
    return calls;
}

HttpRequest OpenAICompatibleBrain::makeRequest(const std::string& url) const {
    HttpRequest request;
    request.url = url;
    request.headers = {{"Authorization", "Bearer " + settings.apiKey},
                       {"content-type", "application/json"}};
    return request;
}

Json OpenAICompatibleBrain::post(HttpRequest request, const Json& body,
                                 std::stop_token stop) const {
    return brainPost(std::move(request), body, settings.providerName, session, clock,
                     std::move(stop));
}

std::string OpenAICompatibleBrain::webSearch(const std::string& query, std::stop_token stop) {
    std::string answer;
    if (settings.providerName == "openai")
        answer = searchWithResponses(query, std::move(stop));
    else if (settings.providerName == "gemini")
        answer = searchWithGemini(query, std::move(stop));
    else if (settings.providerName == "xai")
        answer = searchWithXai(query, std::move(stop));
    else
        throw BrainError("Web search isn't wired up for " + settings.providerName + " yet.");
    if (answer.empty())
        throw BrainError("The web search returned nothing.");
    return answer;
}

std::string OpenAICompatibleBrain::searchWithResponses(const std::string& query,
                                                       std::stop_token stop) const {
    const Json body = responsesSearchBody(settings.model, query, settings.reasoningEffort);
    return responsesAnswer(post(makeRequest(settings.host + "/v1/responses"), body, stop));
}

std::string OpenAICompatibleBrain::searchWithGemini(const std::string& query,
                                                    std::stop_token stop) const {
    HttpRequest request;
    request.url =
        settings.host + "/v1beta/models/" + pathComponent(settings.model) + ":generateContent";
    request.headers = {{"x-goog-api-key", settings.apiKey}, {"content-type", "application/json"}};
    const Json body = geminiSearchBody(settings.model, query, settings.reasoningEffort);
    return geminiAnswer(post(std::move(request), body, stop));
}

std::string OpenAICompatibleBrain::searchWithXai(const std::string& query,
                                                 std::stop_token stop) const {
    try {
        const Json body = xaiSearchBody(settings.model, query, settings.reasoningEffort);
        const Json reply = post(makeRequest(settings.baseURL), body, stop);
        const Json* message = firstChoiceMessage(reply);
        return message ? stringMember(*message, "content").value_or("") : "";
    } catch (const BrainStatusError& error) {
        if (error.status != 410)
            throw;
        // xAI retires this search in favour of the tool of its responses interface.
        return searchWithResponses(query, std::move(stop));
    }
}

} // namespace tavik
