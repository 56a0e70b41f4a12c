#include "mcp/ToolReply.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <vector>

namespace tavik {

namespace {

bool isFlag(const Json& object, const char* key, bool value) {
    const Json* flag = member(object, key);
    return flag && flag->is_boolean() && flag->get<bool>() == value;
}

bool saysSomething(const Json& object, const char* key) {
    const Json* value = member(object, key);
    return value && ((value->is_string() && !value->get_ref<const std::string&>().empty()) ||
                     (value->is_object() && !value->empty()));
}

std::vector<std::string> textParts(const Json& result) {
    const Json* content = member(result, "content");
    std::vector<std::string> parts;
    if (!content || !content->is_array() ||
        !std::all_of(content->begin(), content->end(), [](const Json& i) { return i.is_object(); }))
        return parts;
    for (const Json& item : *content) {
        const auto text = stringMember(item, "text");
        const bool isText = stringMember(item, "type") == "text" && text;
        parts.push_back(isText ? *text : "[non-text content omitted]");
    }
    return parts;
}

bool anyPartFailed(const std::vector<std::string>& parts) {
    return std::any_of(parts.begin(), parts.end(), [](const std::string& part) {
        const auto payload = parseJson(part);
        return payload && failedPayload(*payload);
    });
}

} // namespace

bool failedPayload(const Json& object) {
    return isFlag(object, "ok", false) || isFlag(object, "success", false) ||
           isFlag(object, "blocked", true) || saysSomething(object, "error") ||
           saysSomething(object, "blocked");
}

ToolReply toolReplyOf(const Json& result) {
    const auto parts = textParts(result);
    const Json* structured = member(result, "structuredContent");
    return {joined(parts, "\n"), isFlag(result, "isError", true) ||
                                     (structured && failedPayload(*structured)) ||
                                     anyPartFailed(parts)};
}

} // namespace tavik
