#include "brains/AnthropicBrain.h"

#include "brains/BrainPost.h"

#include <algorithm>
#include <utility>

namespace tavik {

namespace {

Json toolUse(const ToolCall& call) {
    return {{"type", "tool_use"}, {"id", call.id}, {"name", call.name}, {"input", call.args}};
}

// The transcript on Anthropic's wire, where the results of one turn's tools make up one message.
class Messages {
public:
    explicit Messages(const std::vector<AgentMessage>& transcript) {
        for (const AgentMessage& message : transcript)
            std::visit([this](const auto& entry) { add(entry); }, message);
        flushResults();
    }

    Json take() { return std::move(messages); }

private:
    void add(const UserMessage& user) {
        flushResults();
        messages.push_back({{"role", "user"}, {"content", user.text}});
    }

    void add(const AssistantMessage& assistant) {
        flushResults();
        Json content = Json::array();
        if (assistant.text && !assistant.text->empty())
            content.push_back({{"type", "text"}, {"text", *assistant.text}});
        for (const ToolCall& call : assistant.toolCalls)
            content.push_back(toolUse(call));
        // Anthropic refuses a message without content.
        if (!content.empty())
            messages.push_back({{"role", "assistant"}, {"content", std::move(content)}});
    }

    void add(const ToolResultMessage& result) {
        results.push_back(
            {{"type", "tool_result"}, {"tool_use_id", result.callID}, {"content", result.text}});
    }

    void flushResults() {
        if (results.empty())
            return;
        messages.push_back({{"role", "user"}, {"content", std::exchange(results, Json::array())}});
    }

    Json messages = Json::array();
    Json results = Json::array();
};

Json toolOffers(const std::vector<ToolSpec>& tools) {
    Json offers = Json::array();
    for (const ToolSpec& tool : tools)
        offers.push_back({{"name", tool.name},
                          {"description", tool.description},
                          {"input_schema", tool.parameters}});
    return offers;
}

// The reply's blocks; null when there is no list of objects.
const Json* blocksOf(const Json& reply) {
    const Json* content = member(reply, "content");
    const bool areBlocks =
        content && content->is_array() &&
        std::all_of(content->begin(), content->end(), [](const Json& b) { return b.is_object(); });
    return areBlocks ? content : nullptr;
}

std::string textOf(const Json& blocks) {
    std::string text;
    for (const Json& block : blocks)
        if (stringMember(block, "type") == "text")
            text += stringMember(block, "text").value_or("");
    return text;
}

std::vector<ToolCall> toolCallsOf(const Json& blocks) {
    std::vector<ToolCall> calls;
    for (const Json& block : blocks) {
        const auto id = stringMember(block, "id");
        const auto name = stringMember(block, "name");
        if (stringMember(block, "type") != "tool_use" || !id || !name)
            continue;
        const Json* input = member(block, "input");
        calls.push_back({*id, *name, input && input->is_object() ? *input : Json::object()});
    }
    return calls;
}

} // namespace

AnthropicBrain::AnthropicBrain(Settings chosen, HttpSession& http, Clock& time)
    : settings(std::move(chosen))
    , session(http)
    , clock(time) {}

std::string AnthropicBrain::label() const {
    return "anthropic/" + settings.model;
}

BrainReply AnthropicBrain::chat(const std::vector<AgentMessage>& messages,
                                const std::vector<ToolSpec>& tools, std::stop_token stop) {
    Json body = {{"model", settings.model},
                 {"max_tokens", 1500},
                 {"system", settings.system},
                 {"messages", Messages(messages).take()}};
    if (!tools.empty())
        body["tools"] = toolOffers(tools);
    const Json reply = post(std::move(body), std::move(stop));
    const Json* blocks = blocksOf(reply);
    if (!blocks)
        throw BrainError("Anthropic sent back an empty answer. Try again.");
    std::string text = textOf(*blocks);
    return {text.empty() ? std::nullopt : std::optional(std::move(text)), toolCallsOf(*blocks)};
}

std::string AnthropicBrain::webSearch(const std::string& query, std::stop_token stop) {
    const Json search = {{"type", "web_search_20250305"}, {"name", "web_search"}, {"max_uses", 3}};
    const Json question = {{"role", "user"}, {"content", query}};
    const Json reply = post({{"model", settings.model},
                             {"max_tokens", 1024},
                             {"tools", Json::array({search})},
                             {"messages", Json::array({question})}},
                            std::move(stop));
    const Json* blocks = blocksOf(reply);
    std::string answer = blocks ? textOf(*blocks) : "";
    if (answer.empty())
        throw BrainError("The web search returned nothing.");
    return answer;
}

Json AnthropicBrain::post(Json body, std::stop_token stop) const {
    if (settings.effort)
        body["output_config"] = {{"effort", *settings.effort}};
    HttpRequest request;
    request.url = settings.endpoint;
    request.headers = {{"x-api-key", settings.apiKey},
                       {"anthropic-version", "2023-06-01"},
                       {"content-type", "application/json"}};
    return brainPost(std::move(request), body, "anthropic", session, clock, std::move(stop));
}

} // namespace tavik
