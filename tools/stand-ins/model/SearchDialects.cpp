#include "tools/stand-ins/model/Dialect.h"

namespace tavik {

namespace {

ModelTurn searchFor(const std::string& model, const std::string& query) {
    ModelTurn turn;
    turn.model = model;
    turn.isWebSearch = true;
    turn.userText = turn.command = query;
    return turn;
}

// OpenAI's search, a tool of its responses interface.
class OpenAIResponsesDialect : public Dialect {
public:
    bool serves(const std::string& path) const override { return path == "/v1/responses"; }

    std::string key(const ServedRequest& request) const override { return bearerKey(request); }

    ModelTurn read(const ServedRequest&, const Json& body) const override {
        requireOnly(body, {"model", "input", "tools", "max_output_tokens", "reasoning"});
        if (const Json* reasoning = member(body, "reasoning"))
            checkEffort(*reasoning, "effort");
        require(requiredArray(body, "tools").front() == Json{{"type", "web_search"}},
                "tools: expected the web search");
        return searchFor(requiredString(body, "model"), requiredString(body, "input"));
    }

    Json reply(const ModelTurn& turn, const ModelReply& reply, int) const override {
        const Json part = {
            {"type", "output_text"}, {"text", reply.text}, {"annotations", Json::array()}};
        const Json search = {{"type", "web_search_call"}, {"status", "completed"}};
        const Json message = {
            {"type", "message"}, {"role", "assistant"}, {"content", Json::array({part})}};
        return {{"object", "response"},
                {"model", turn.model},
                {"output", Json::array({search, message})}};
    }

    Json failure(int status, const std::string& message) const override {
        return openAIFailure(status, message);
    }
};

// Gemini's own interface, where a search grounds the content.
class GeminiContentDialect : public Dialect {
public:
    bool serves(const std::string& path) const override {
        return path.starts_with(prefix) && path.ends_with(action);
    }

    std::string key(const ServedRequest& request) const override {
        return request.header("x-goog-api-key");
    }

    ModelTurn read(const ServedRequest& request, const Json& body) const override {
        requireOnly(body, {"contents", "tools", "generationConfig"});
        require(requiredArray(body, "tools").front() == Json{{"google_search", Json::object()}},
                "tools: expected the search");
        if (const Json* config = member(body, "generationConfig")) {
            requireOnly(*config, {"thinkingConfig"});
            requireOnly(config->at("thinkingConfig"), {"thinkingLevel", "thinkingBudget"});
        }
        const Json& content = requiredArray(body, "contents").back();
        const Json& part = requiredArray(content, "parts").front();
        return searchFor(modelIn(request.path), requiredString(part, "text"));
    }

    Json reply(const ModelTurn& turn, const ModelReply& reply, int) const override {
        const Json content = {{"role", "model"}, {"parts", Json::array({{{"text", reply.text}}})}};
        const Json candidate = {{"content", content}, {"finishReason", "STOP"}};
        return {{"candidates", Json::array({candidate})}, {"modelVersion", turn.model}};
    }

    Json failure(int status, const std::string& message) const override {
        return geminiFailure(status, message);
    }

private:
    static std::string modelIn(const std::string& path) {
        return path.substr(prefix.size(), path.size() - prefix.size() - action.size());
    }

    static constexpr std::string_view prefix = "/v1beta/models/";
    static constexpr std::string_view action = ":generateContent";
};

} // namespace

std::unique_ptr<Dialect> makeOpenAIResponsesDialect() {
    return std::make_unique<OpenAIResponsesDialect>();
}

std::unique_ptr<Dialect> makeGeminiContentDialect() {
    return std::make_unique<GeminiContentDialect>();
}

} // namespace tavik
