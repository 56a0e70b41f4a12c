#include "platform/json/Json.h"

namespace tavik {

namespace {

constexpr int maximumDepth = 512;

} // namespace

std::optional<Json> parseJson(std::string_view text) {
    bool tooDeep = false;
    const auto watchDepth = [&tooDeep](int depth, Json::parse_event_t, Json&) {
        tooDeep = tooDeep || depth > maximumDepth;
        return !tooDeep;
    };
    // Without exceptions a text that is no JSON gives a "discarded" value.
    Json value = Json::parse(text, watchDepth, false);
    if (value.is_discarded() || tooDeep)
        return std::nullopt;
    return value;
}

std::string compactJson(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string sortedJson(const Json& value) {
    // The unordered twin of the type keeps its keys in a sorted map.
    return nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

const Json* member(const Json& object, std::string_view key) {
    if (!object.is_object())
        return nullptr;
    const auto found = object.find(std::string(key));
    return found == object.end() ? nullptr : &*found;
}

std::optional<std::string> stringMember(const Json& object, std::string_view key) {
    const Json* value = member(object, key);
    if (!value || !value->is_string())
        return std::nullopt;
    return value->get<std::string>();
}

} // namespace tavik
