#include "platform/text/Pattern.h"
#include "tools/stand-ins/model/Dialect.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <set>

namespace tavik {

namespace {

using Identifiers = std::set<std::string>;

// Reads the messages in order and keeps track of the calls that wait for their results.
class MessageReader {
public:
    ModelTurn turn;

    void read(const Json& message) {
        requireOnly(message, {"role", "content"});
        const std::string role = requiredString(message, "role");
        const Json* content = member(message, "content");
        require(content && (content->is_string() || content->is_array()),
                where() + "content: a string or an array is required");
        const bool isEmptyText =
            content->is_string() && content->get_ref<const std::string&>().empty();
        require(!content->empty() && !isEmptyText,
                where() + "all messages must have non-empty content except for the optional final "
                          "assistant message");
        if (role == "user")
            readUser(*content);
        else if (role == "assistant")
            readAssistant(*content);
        else
            throw RefusedRequest(400, where() + "role must be 'user' or 'assistant'");
        ++index;
    }

    void finish() const {
        require(lastRole == "user", "messages: the final message must be from the user");
    }

private:
    void readUser(const Json& content) {
        const Identifiers answered = readUserBlocks(content);
        for (const std::string& call : waiting)
            require(answered.count(call) == 1,
                    where() +
                        "`tool_use` ids were found without `tool_result` blocks immediately "
                        "after: " +
                        call);
        waiting.clear();
        lastRole = "user";
    }

    Identifiers readUserBlocks(const Json& content) {
        Identifiers answered;
        if (content.is_string()) {
            beginUserText(turn, content.get<std::string>());
            return answered;
        }
        for (const Json& block : content)
            if (requiredString(block, "type") == "tool_result")
                readResult(block, answered);
            else
                beginUserText(turn, textIn(block));
        return answered;
    }

    static std::string textIn(const Json& block) {
        requireOnly(block, {"type", "text"});
        return requiredString(block, "text");
    }

    void readResult(const Json& block, Identifiers& answered) {
        requireOnly(block, {"type", "tool_use_id", "content", "is_error"});
        const std::string call = requiredString(block, "tool_use_id");
        require(waiting.count(call) == 1,
                where() + "unexpected `tool_use_id` found in `tool_result` blocks: " + call);
        require(answered.insert(call).second,
                where() + "each `tool_use` must have a single result: " + call);
        turn.toolResults.push_back(stringMember(block, "content").value_or(""));
    }

    void readAssistant(const Json& content) {
        require(index > 0, "messages: first message must use the \"user\" role");
        require(waiting.empty(), where() + "`tool_use` ids were found without `tool_result` blocks "
                                           "immediately after");
        if (content.is_array())
            for (const Json& block : content)
                readAssistantBlock(block);
        lastRole = "assistant";
    }

    void readAssistantBlock(const Json& block) {
        const std::string type = requiredString(block, "type");
        if (type == "text") {
            textIn(block);
            return;
        }
        require(type == "tool_use", where() + "unexpected block type " + type);
        requireOnly(block, {"type", "id", "name", "input"});
        const Json* input = member(block, "input");
        require(input && input->is_object(), where() + "tool_use.input: should be an object");
        requiredString(block, "name");
        noteCall(requiredString(block, "id"));
    }

    void noteCall(const std::string& call) {
        static const Pattern allowed =
            *Pattern::compile("^[a-zA-Z0-9_-]+$", Pattern::Case::sensitive);
        require(allowed.matches(call), where() + "tool_use.id: invalid characters");
        require(seen.insert(call).second, where() + "`tool_use` ids must be unique");
        waiting.insert(call);
    }

    std::string where() const { return fmt::format("messages.{}: ", index); }

    int index = 0;
    std::string lastRole;
    Identifiers seen;
    Identifiers waiting; // of the assistant's message before this one
};

bool asksForSearch(const Json& tools) {
    for (const Json& tool : tools)
        if (stringMember(tool, "type").value_or("").starts_with("web_search_")) {
            requireOnly(tool, {"type", "name", "max_uses"});
            return true;
        }
    return false;
}

void readTools(ModelTurn& turn, const Json& body) {
    if (!body.contains("tools"))
        return;
    const Json& tools = requiredArray(body, "tools");
    turn.isWebSearch = asksForSearch(tools);
    if (turn.isWebSearch)
        return;
    for (const Json& tool : tools) {
        requireOnly(tool, {"name", "description", "input_schema"});
        turn.offeredTools.push_back(requiredString(tool, "name"));
        checkTool(turn.offeredTools.back(), member(tool, "input_schema"));
    }
}

class AnthropicDialect : public Dialect {
public:
    bool serves(const std::string& path) const override { return path == "/v1/messages"; }

    std::string key(const ServedRequest& request) const override {
        return request.header("x-api-key");
    }

    ModelTurn read(const ServedRequest& request, const Json& body) const override {
        require(request.header("anthropic-version") == "2023-06-01",
                "anthropic-version: header is required");
        requireOnly(body, {"model", "max_tokens", "system", "messages", "tools", "output_config"});
        if (const Json* output = member(body, "output_config")) {
            requireOnly(*output, {"effort"});
            checkEffort(*output, "effort");
        }
        const Json* limit = member(body, "max_tokens");
        require(limit && limit->is_number_integer() && *limit > 0, "max_tokens: Field required");
        MessageReader reader;
        reader.turn.model = requiredString(body, "model");
        for (const Json& message : requiredArray(body, "messages"))
            reader.read(message);
        reader.finish();
        readTools(reader.turn, body);
        return reader.turn;
    }

    Json reply(const ModelTurn& turn, const ModelReply& reply, int number) const override {
        Json content = Json::array();
        if (!reply.text.empty())
            content.push_back({{"type", "text"}, {"text", reply.text}});
        for (std::size_t index = 0; index < reply.calls.size(); ++index)
            content.push_back({{"type", "tool_use"},
                               {"id", fmt::format("toolu_{}_{}", number, index)},
                               {"name", reply.calls[index].name},
                               {"input", reply.calls[index].arguments}});
        return {{"id", fmt::format("msg_{}", number)},
                {"type", "message"},
                {"role", "assistant"},
                {"model", turn.model},
                {"content", content},
                {"stop_reason", reply.calls.empty() ? "end_turn" : "tool_use"},
                {"stop_sequence", nullptr},
                {"usage", {{"input_tokens", 1}, {"output_tokens", 1}}}};
    }

    Json failure(int status, const std::string& message) const override {
        const char* type = status == 401   ? "authentication_error"
                           : status == 429 ? "rate_limit_error"
                           : status == 529 ? "overloaded_error"
                           : status >= 500 ? "api_error"
                                           : "invalid_request_error";
        return {{"type", "error"}, {"error", {{"type", type}, {"message", message}}}};
    }
};

} // namespace

std::unique_ptr<Dialect> makeAnthropicDialect() {
    return std::make_unique<AnthropicDialect>();
}

} // namespace tavik
