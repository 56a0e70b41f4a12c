#include "tools/stand-ins/model/Dialect.h"

#include "platform/text/Pattern.h"

#include <algorithm>
#include <set>

namespace tavik {

void require(bool holds, const std::string& message) {
    if (!holds)
        throw RefusedRequest(400, message);
}

std::string bearerKey(const ServedRequest& request) {
    constexpr std::string_view scheme = "Bearer ";
    const std::string value = request.header("authorization");
    return value.starts_with(scheme) ? value.substr(scheme.size()) : "";
}

std::string requiredString(const Json& object, std::string_view key) {
    std::string value = stringMember(object, key).value_or("");
    require(!value.empty(), std::string(key) + ": a non-empty string is required");
    return value;
}

const Json& requiredArray(const Json& object, std::string_view key) {
    const Json* value = member(object, key);
    require(value && value->is_array() && !value->empty(),
            std::string(key) + ": a non-empty array is required");
    return *value;
}

void requireOnly(const Json& object, std::initializer_list<std::string_view> known) {
    for (const auto& entry : object.items())
        require(std::find(known.begin(), known.end(), entry.key()) != known.end(),
                entry.key() + ": Extra inputs are not permitted");
}

void checkEffort(const Json& object, std::string_view key) {
    static const std::set<std::string> levels = {"none", "minimal", "low", "medium",
                                                 "high", "xhigh",   "max"};
    if (member(object, key))
        require(levels.count(requiredString(object, key)) == 1,
                std::string(key) + ": unsupported value");
}

void checkTool(const std::string& name, const Json* schema) {
    static const Pattern allowed =
        *Pattern::compile("^[a-zA-Z0-9_-]{1,64}$", Pattern::Case::sensitive);
    require(allowed.matches(name), "tools: '" + name + "' is no valid tool name");
    require(schema && stringMember(*schema, "type") == "object" && member(*schema, "properties") &&
                member(*schema, "properties")->is_object(),
            "tools: the input schema of '" + name + "' must be an object with properties");
}

std::string commandIn(const std::string& userText) {
    const std::size_t context = userText.find("[Frontmost app: ");
    const std::size_t end = userText.find("]\n", context);
    if (context == std::string::npos || end == std::string::npos)
        return userText;
    return userText.substr(end + 2);
}

void beginUserText(ModelTurn& turn, const std::string& userText) {
    turn.userText = userText;
    turn.command = commandIn(userText);
    turn.earlierResults.insert(turn.earlierResults.end(), turn.toolResults.begin(),
                               turn.toolResults.end());
    turn.toolResults.clear();
}

Json openAIFailure(int status, const std::string& message) {
    const char* type = status == 401   ? "authentication_error"
                       : status == 429 ? "rate_limit_error"
                       : status >= 500 ? "server_error"
                                       : "invalid_request_error";
    return {
        {"error", {{"message", message}, {"type", type}, {"param", nullptr}, {"code", nullptr}}}};
}

// Google wraps the object of its chat completions in an array.
Json geminiFailure(int status, const std::string& message) {
    const char* word = status == 401   ? "UNAUTHENTICATED"
                       : status == 429 ? "RESOURCE_EXHAUSTED"
                       : status >= 500 ? "UNAVAILABLE"
                                       : "INVALID_ARGUMENT";
    return {{"error", {{"code", status}, {"message", message}, {"status", word}}}};
}

} // namespace tavik
