#pragma once

#include "platform/json/Json.h"

#include <optional>
#include <string>

// The bodies and answers of the providers' own web searches. An answer without text is empty.
namespace tavik {

// The message of a chat completion's first choice; null when there is none.
const Json* firstChoiceMessage(const Json& reply);

Json responsesSearchBody(const std::string& model, const std::string& query,
                         const std::optional<std::string>& effort);
std::string responsesAnswer(const Json& reply);

Json geminiSearchBody(const std::string& model, const std::string& query,
                      const std::optional<std::string>& effort);
std::string geminiAnswer(const Json& reply);

Json xaiSearchBody(const std::string& model, const std::string& query,
                   const std::optional<std::string>& effort);

} // namespace tavik
