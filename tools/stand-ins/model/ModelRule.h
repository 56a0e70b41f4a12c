#pragma once

#include "platform/json/Json.h"

#include <chrono>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

// What a model knows when it replies: nothing but what the request holds.
struct ModelTurn {
    std::string model;
    std::string userText;                    // the last message of the user, as sent
    std::string command;                     // the same without the lines of context before it
    std::vector<std::string> toolResults;    // since that message, in order
    std::vector<std::string> earlierResults; // before it
    std::vector<std::string> offeredTools;
    bool isWebSearch = false; // a search by the provider itself; `command` is the query

    // Whether the command has the words, whatever their case, anywhere and in any order.
    bool hears(std::string_view word) const;
    bool hearsAll(const std::vector<std::string>& words) const;
};

struct ModelToolCall {
    std::string name;
    Json arguments = Json::object();
};

struct ModelReply {
    std::string text;
    std::vector<ModelToolCall> calls;
    int status = 200;    // any other is a failure, with the text as its message
    std::string rawBody; // when not empty, sent in place of a well-formed reply
    std::chrono::milliseconds delay{0};
    bool cutConnection = false;
};

ModelReply say(std::string text);
ModelReply callTool(std::string name, Json arguments);
ModelReply failWith(int status, std::string message);
ModelReply cutConnection();

// One line of a model's script. The first rule that applies makes the reply.
struct ModelRule {
    std::function<bool(const ModelTurn&)> applies;
    std::function<ModelReply(const ModelTurn&)> reply;
    bool forWebSearch = false; // answers searches instead of conversations
};

} // namespace tavik
