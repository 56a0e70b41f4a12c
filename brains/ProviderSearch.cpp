#include "brains/ProviderSearch.h"

#include "platform/text/Text.h"

#include <string_view>
#include <utility>

namespace tavik {

namespace {

// The elements of the list at `key`; none when there is no list.
const Json& list(const Json& object, std::string_view key) {
    static const Json none = Json::array();
    const Json* found = member(object, key);
    return found && found->is_array() ? *found : none;
}

std::optional<int> thinkingBudget(std::string_view effort) {
    constexpr std::pair<std::string_view, int> budgets[] = {
        {"none", 0}, {"low", 1024}, {"medium", 8192}, {"high", 24576}};
    for (const auto& [name, tokens] : budgets)
        if (name == effort)
            return tokens;
    return std::nullopt;
}

// Null when the model has no thinking control, or not this level.
Json thinkingConfig(const std::string& model, const std::string& effort) {
    const std::string name = lowercased(model);
    if (name.starts_with("gemini-3."))
        return {{"thinkingLevel", effort}};
    const auto budget = thinkingBudget(effort);
    if (name.starts_with("gemini-2.5-") && budget)
        return {{"thinkingBudget", *budget}};
    return nullptr;
}

} // namespace

const Json* firstChoiceMessage(const Json& reply) {
    const Json& choices = list(reply, "choices");
    const Json* message = choices.empty() ? nullptr : member(choices.front(), "message");
    return message && message->is_object() ? message : nullptr;
}

Json responsesSearchBody(const std::string& model, const std::string& query,
                         const std::optional<std::string>& effort) {
    Json body = {{"model", model},
                 {"input", query},
                 {"tools", Json::array({{{"type", "web_search"}}})},
                 {"max_output_tokens", 1024}};
    if (effort)
        body["reasoning"] = {{"effort", *effort}};
    return body;
}

std::string responsesAnswer(const Json& reply) {
    std::string answer;
    for (const Json& item : list(reply, "output")) {
        if (stringMember(item, "type") != "message")
            continue;
        for (const Json& part : list(item, "content"))
            if (stringMember(part, "type") == "output_text")
                answer += stringMember(part, "text").value_or("");
    }
    return answer;
}

Json geminiSearchBody(const std::string& model, const std::string& query,
                      const std::optional<std::string>& effort) {
    const Json part = {{"text", query}};
    const Json content = {{"role", "user"}, {"parts", Json::array({part})}};
    const Json search = {{"google_search", Json::object()}};
    Json body = {{"contents", Json::array({content})}, {"tools", Json::array({search})}};
    Json thinking = effort ? thinkingConfig(model, *effort) : Json();
    if (!thinking.is_null())
        body["generationConfig"] = {{"thinkingConfig", std::move(thinking)}};
    return body;
}

std::string geminiAnswer(const Json& reply) {
    const Json& candidates = list(reply, "candidates");
    const Json* content = candidates.empty() ? nullptr : member(candidates.front(), "content");
    std::string answer;
    if (content)
        for (const Json& part : list(*content, "parts"))
            answer += stringMember(part, "text").value_or("");
    return answer;
}

Json xaiSearchBody(const std::string& model, const std::string& query,
                   const std::optional<std::string>& effort) {
    const Json question = {{"role", "user"}, {"content", query}};
    const Json always = {{"mode", "on"}};
    Json body = {{"model", model},
                 {"max_tokens", 1024},
                 {"search_parameters", always},
                 {"messages", Json::array({question})}};
    if (effort)
        body["reasoning_effort"] = *effort;
    return body;
}

} // namespace tavik
