#include "platform/text/Text.h"
#include "tools/stand-ins/model/Dialect.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

namespace tavik {

namespace {

enum class Flavour { openAI, gemini };

// What Google's models add to a call and want back with it.
Json signatureOf(const std::string& call) {
    return {{"google", {{"thought_signature", "signature of " + call}}}};
}

// Reads the messages in order and keeps track of the calls that wait for their results.
class MessageReader {
public:
    explicit MessageReader(Flavour spoken)
        : flavour(spoken) {}

    ModelTurn turn;

    void read(const Json& message) {
        const std::string role = requiredString(message, "role");
        const Json* content = member(message, "content");
        require(content && content->is_string(), "messages: content must be a string");
        if (role == "tool")
            return readResult(message);
        requireOnly(message, {"role", "content", "tool_calls"});
        requireAllAnswered();
        if (role == "user")
            beginUserText(turn, content->get<std::string>());
        else if (role == "assistant")
            readCalls(message);
        else
            require(role == "system" || role == "developer", "messages: unknown role " + role);
    }

    void finish() const {
        requireAllAnswered();
        require(!turn.userText.empty(), "messages: no message of the user");
    }

private:
    void requireAllAnswered() const {
        require(waiting.empty(), "An assistant message with 'tool_calls' must be followed by tool "
                                 "messages responding to each 'tool_call_id'.");
    }

    void readResult(const Json& message) {
        // The name is of an older interface that is still taken.
        requireOnly(message, {"role", "content", "tool_call_id", "name"});
        const std::string call = requiredString(message, "tool_call_id");
        require(waiting.erase(call) == 1, "messages with role 'tool' must be a response to a "
                                          "preceding message with 'tool_calls': " +
                                              call);
        turn.toolResults.push_back(*stringMember(message, "content"));
    }

    void readCalls(const Json& message) {
        if (!message.contains("tool_calls"))
            return;
        for (const Json& call : requiredArray(message, "tool_calls"))
            readCall(call);
    }

    void readCall(const Json& call) {
        const std::string id = requiredString(call, "id");
        require(stringMember(call, "type") == "function", "tool_calls: type must be 'function'");
        const Json* function = member(call, "function");
        require(function != nullptr, "tool_calls: function is required");
        requireOnly(*function, {"name", "arguments"});
        requiredString(*function, "name");
        require(parseJson(requiredString(*function, "arguments")).has_value(),
                "tool_calls: arguments must be JSON");
        const Json* extra = member(call, "extra_content");
        require(flavour != Flavour::gemini || (extra && *extra == signatureOf(id)),
                "Function call is missing a thought_signature.");
        require(flavour == Flavour::gemini || !extra, "extra_content: unknown");
        require(waiting.insert(id).second, "tool_calls: ids must be unique");
    }

    const Flavour flavour;
    std::set<std::string> waiting; // calls of the last assistant message without a result yet
};

class ChatCompletionsDialect : public Dialect {
public:
    explicit ChatCompletionsDialect(Flavour spoken)
        : flavour(spoken) {}

    bool serves(const std::string& path) const override {
        return path == (flavour == Flavour::gemini ? "/v1beta/openai/chat/completions"
                                                   : "/v1/chat/completions");
    }

    std::string key(const ServedRequest& request) const override { return bearerKey(request); }

    ModelTurn read(const ServedRequest&, const Json& body) const override {
        MessageReader reader(flavour);
        reader.turn.model = requiredString(body, "model");
        requireOnly(body, {"model", "messages", "max_tokens", "max_completion_tokens", "tools",
                           "reasoning_effort", "search_parameters"});
        checkEffort(body, "reasoning_effort");
        checkLimit(body, reader.turn.model);
        for (const Json& message : requiredArray(body, "messages"))
            reader.read(message);
        reader.finish();
        readTools(reader.turn, body);
        reader.turn.isWebSearch = body.contains("search_parameters");
        return reader.turn;
    }

    Json reply(const ModelTurn& turn, const ModelReply& reply, int number) const override {
        Json message = {{"role", "assistant"}, {"content", nullptr}};
        if (!reply.text.empty())
            message["content"] = reply.text;
        for (std::size_t index = 0; index < reply.calls.size(); ++index)
            message["tool_calls"].push_back(
                callObject(reply.calls[index], fmt::format("call_{}_{}", number, index)));
        const char* reason = reply.calls.empty() ? "stop" : "tool_calls";
        return {{"id", fmt::format("chatcmpl-{}", number)},
                {"object", "chat.completion"},
                {"model", turn.model},
                {"choices", {{{"index", 0}, {"message", message}, {"finish_reason", reason}}}}};
    }

    Json failure(int status, const std::string& message) const override {
        if (flavour == Flavour::gemini)
            return Json::array({geminiFailure(status, message)});
        return openAIFailure(status, message);
    }

private:
    static void checkLimit(const Json& body, const std::string& model) {
        require(body.contains("max_tokens") != body.contains("max_completion_tokens"),
                "Exactly one of max_tokens and max_completion_tokens is expected.");
        const bool isNewer = lowercased(model).starts_with("gpt-5");
        require(!isNewer || !body.contains("max_tokens"),
                "Unsupported parameter: 'max_tokens' is not supported with this model. Use "
                "'max_completion_tokens' instead.");
    }

    static void readTools(ModelTurn& turn, const Json& body) {
        if (!body.contains("tools"))
            return;
        for (const Json& tool : requiredArray(body, "tools")) {
            require(stringMember(tool, "type") == "function", "tools: type must be 'function'");
            const Json* function = member(tool, "function");
            require(function != nullptr, "tools: function is required");
            requireOnly(tool, {"type", "function"});
            requireOnly(*function, {"name", "description", "parameters"});
            turn.offeredTools.push_back(requiredString(*function, "name"));
            checkTool(turn.offeredTools.back(), member(*function, "parameters"));
        }
    }

    Json callObject(const ModelToolCall& call, const std::string& id) const {
        const Json function = {{"name", call.name}, {"arguments", compactJson(call.arguments)}};
        Json object = {{"id", id}, {"type", "function"}, {"function", function}};
        if (flavour == Flavour::gemini)
            object["extra_content"] = signatureOf(id);
        return object;
    }

    const Flavour flavour;
};

} // namespace

std::unique_ptr<Dialect> makeChatCompletionsDialect() {
    return std::make_unique<ChatCompletionsDialect>(Flavour::openAI);
}

std::unique_ptr<Dialect> makeGeminiChatDialect() {
    return std::make_unique<ChatCompletionsDialect>(Flavour::gemini);
}

} // namespace tavik
