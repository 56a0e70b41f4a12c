#pragma once

#include "tools/stand-ins/model/LoopbackServer.h"
#include "tools/stand-ins/model/ModelRule.h"

#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavik {

// The request breaks a rule of the provider's interface.
class RefusedRequest : public std::runtime_error {
public:
    RefusedRequest(int httpStatus, const std::string& message)
        : std::runtime_error(message)
        , status(httpStatus) {}

    int status;
};

// Throws RefusedRequest with status 400 unless `holds`.
void require(bool holds, const std::string& message);

// One provider's wire format, from the server's side. Stateless.
class Dialect {
public:
    virtual ~Dialect() = default;

    virtual bool serves(const std::string& path) const = 0;

    // The key that the request carries; empty when there is none.
    virtual std::string key(const ServedRequest& request) const = 0;

    // Reads a request and checks it as strictly as the provider's public documentation tells.
    // Throws RefusedRequest.
    virtual ModelTurn read(const ServedRequest& request, const Json& body) const = 0;

    // `number` makes the identifiers of the reply unique.
    virtual Json reply(const ModelTurn& turn, const ModelReply& reply, int number) const = 0;

    virtual Json failure(int status, const std::string& message) const = 0;
};

std::unique_ptr<Dialect> makeAnthropicDialect();
std::unique_ptr<Dialect> makeChatCompletionsDialect();
std::unique_ptr<Dialect> makeGeminiChatDialect();
std::unique_ptr<Dialect> makeOpenAIResponsesDialect();
std::unique_ptr<Dialect> makeGeminiContentDialect();

// What the dialects share.

// The key of an "Authorization: Bearer" header; empty when there is none.
std::string bearerKey(const ServedRequest& request);
// The non-empty string at `key`. Throws RefusedRequest.
std::string requiredString(const Json& object, std::string_view key);
// The non-empty array at `key`. Throws RefusedRequest.
const Json& requiredArray(const Json& object, std::string_view key);
// Every key of `object` has to be one of `known`. Throws RefusedRequest.
void requireOnly(const Json& object, std::initializer_list<std::string_view> known);
// A level of effort, where there is one. Throws RefusedRequest.
void checkEffort(const Json& object, std::string_view key);
// A tool's name and the schema of its input. Throws RefusedRequest.
void checkTool(const std::string& name, const Json* schema);
// A user's words without the lines of context in front of them.
std::string commandIn(const std::string& userText);
// Notes a message of the user: the results so far belong to an earlier one.
void beginUserText(ModelTurn& turn, const std::string& userText);
// The error object of OpenAI and those who follow it.
Json openAIFailure(int status, const std::string& message);
Json geminiFailure(int status, const std::string& message);

} // namespace tavik
