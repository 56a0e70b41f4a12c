#include "tools/stand-ins/model/ScriptedModel.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"
#include "tools/stand-ins/model/Dialect.h"

#include <fmt/format.h>

namespace tavik {

namespace {

std::vector<std::unique_ptr<Dialect>> allDialects() {
    std::vector<std::unique_ptr<Dialect>> all;
    all.push_back(makeAnthropicDialect());
    all.push_back(makeChatCompletionsDialect());
    all.push_back(makeGeminiChatDialect());
    all.push_back(makeOpenAIResponsesDialect());
    all.push_back(makeGeminiContentDialect());
    return all;
}

RecordedRequest recordOf(const ServedRequest& request) {
    return {request.method, request.path, parseJson(request.body).value_or(nullptr)};
}

ServedResponse notFound() {
    return {404, "text/plain", "not found"};
}

} // namespace

ScriptedModel::ScriptedModel(std::vector<ModelRule> script)
    : dialects(allDialects())
    , rules(std::move(script))
    , server([this](const ServedRequest& request, std::stop_token stop) {
        return serve(request, stop);
    }) {}

ScriptedModel::~ScriptedModel() = default;

std::string ScriptedModel::host() const {
    return fmt::format("http://127.0.0.1:{}", server.port());
}

std::string ScriptedModel::chatUrl(std::string_view provider) const {
    if (provider == "anthropic")
        return host() + "/v1/messages";
    if (provider == "gemini")
        return host() + "/v1beta/openai/chat/completions";
    return host() + "/v1/chat/completions";
}

void ScriptedModel::addRule(ModelRule rule) {
    const std::lock_guard lock(mutex);
    rules.push_back(std::move(rule));
}

void ScriptedModel::answerWhen(std::vector<std::string> words, std::string text) {
    addRule({[words = std::move(words)](const ModelTurn& turn) { return turn.hearsAll(words); },
             [text = std::move(text)](const ModelTurn&) { return say(text); }});
}

void ScriptedModel::searchWhen(std::vector<std::string> words, std::string text) {
    addRule({[words = std::move(words)](const ModelTurn& turn) { return turn.hearsAll(words); },
             [text = std::move(text)](const ModelTurn&) { return say(text); }, true});
}

void ScriptedModel::callToolWhen(std::vector<std::string> words, ModelToolCall call,
                                 std::function<std::string(const std::string&)> answer) {
    addRule({[words = std::move(words)](const ModelTurn& turn) { return turn.hearsAll(words); },
             [call = std::move(call), answer = std::move(answer)](const ModelTurn& turn) {
                 if (turn.toolResults.empty())
                     return callTool(call.name, call.arguments);
                 return say(answer(turn.toolResults.back()));
             }});
}

void ScriptedModel::replyNext(std::vector<ModelReply> replies) {
    const std::lock_guard lock(mutex);
    repliesToCome.insert(repliesToCome.end(), replies.begin(), replies.end());
}

void ScriptedModel::acceptOnlyKey(std::string key) {
    const std::lock_guard lock(mutex);
    onlyKey = std::move(key);
}

std::string ScriptedModel::servePage(const std::string& path, std::string content,
                                     std::string contentType) {
    const std::lock_guard lock(mutex);
    pages[path] = {std::move(content), std::move(contentType)};
    return host() + path;
}

int ScriptedModel::connectionCount() const {
    return server.connectionCount();
}

std::vector<RecordedRequest> ScriptedModel::requests() const {
    const std::lock_guard lock(mutex);
    return recorded;
}

ServedResponse ScriptedModel::serve(const ServedRequest& request, std::stop_token stop) {
    {
        const std::lock_guard lock(mutex);
        recorded.push_back(recordOf(request));
    }
    if (request.method == "GET")
        return servePageAt(request.path);
    const Dialect* dialect = dialectFor(request.path);
    return dialect ? answer(*dialect, request, stop) : notFound();
}

ServedResponse ScriptedModel::servePageAt(const std::string& path) const {
    const std::lock_guard lock(mutex);
    const auto page = pages.find(path);
    if (page == pages.end())
        return notFound();
    return {200, page->second.contentType, page->second.content};
}

ServedResponse ScriptedModel::answer(const Dialect& dialect, const ServedRequest& request,
                                     std::stop_token stop) {
    try {
        checkKey(dialect, request);
        require(request.header("content-type").starts_with("application/json"),
                "content-type: must be application/json");
        const auto body = parseJson(request.body);
        require(body && body->is_object(), "The request body is not valid JSON.");
        const ModelTurn turn = dialect.read(request, *body);
        return send(dialect, turn, decide(turn), stop);
    } catch (const RefusedRequest& refusal) {
        return {refusal.status, "application/json",
                compactJson(dialect.failure(refusal.status, refusal.what()))};
    } catch (const Cancelled&) {
        return {.cutConnection = true};
    }
}

ServedResponse ScriptedModel::send(const Dialect& dialect, const ModelTurn& turn,
                                   const ModelReply& reply, std::stop_token stop) {
    systemClock().sleepFor(reply.delay, stop);
    ServedResponse response{.status = reply.status, .cutConnection = reply.cutConnection};
    if (!reply.rawBody.empty())
        response.body = reply.rawBody;
    else if (reply.status != 200)
        response.body = compactJson(dialect.failure(reply.status, reply.text));
    else
        response.body = compactJson(dialect.reply(turn, reply, nextNumber()));
    return response;
}

const Dialect* ScriptedModel::dialectFor(const std::string& path) const {
    for (const auto& dialect : dialects)
        if (dialect->serves(path))
            return dialect.get();
    return nullptr;
}

void ScriptedModel::checkKey(const Dialect& dialect, const ServedRequest& request) const {
    const std::string key = dialect.key(request);
    const std::lock_guard lock(mutex);
    if (key.empty() || (!onlyKey.empty() && key != onlyKey))
        throw RefusedRequest(401, "The API key is missing or invalid.");
}

ModelReply ScriptedModel::decide(const ModelTurn& turn) {
    {
        const std::lock_guard lock(mutex);
        if (!repliesToCome.empty()) {
            ModelReply next = std::move(repliesToCome.front());
            repliesToCome.pop_front();
            return next;
        }
    }
    for (const ModelRule& rule : currentRules())
        if (rule.forWebSearch == turn.isWebSearch && rule.applies(turn))
            return rule.reply(turn);
    return failWith(400, "The script has no rule for this.");
}

// A copy, so that a rule runs without the lock.
std::vector<ModelRule> ScriptedModel::currentRules() const {
    const std::lock_guard lock(mutex);
    return rules;
}

int ScriptedModel::nextNumber() {
    const std::lock_guard lock(mutex);
    return ++lastNumber;
}

} // namespace tavik
