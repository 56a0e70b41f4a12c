#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

// JSON values as they travel: keys keep the order in which they came, so that a provider's own
// record goes back unchanged.
using Json = nlohmann::ordered_json;

// Parses a whole text. Nothing when it is not JSON, or nested deeper than 512 levels, which no
// honest peer sends and which would exhaust the stack of whoever walks the value.
std::optional<Json> parseJson(std::string_view text);

// On one line without spaces. Bytes that are not UTF-8 become U+FFFD.
std::string compactJson(const Json& value);

// Compact with the keys of every object sorted: equal values give equal texts.
std::string sortedJson(const Json& value);

// The member `key` when `object` is an object that has it; otherwise null. Never throws.
const Json* member(const Json& object, std::string_view key);

// The string at `key`, when `object` is an object and the member a string.
std::optional<std::string> stringMember(const Json& object, std::string_view key);

} // namespace tavik
