#pragma once

#include "platform/json/Json.h"
#include "tools/stand-ins/model/LoopbackServer.h"
#include "tools/stand-ins/model/ModelRule.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

class Dialect;

// A request that reached the model, without its key.
struct RecordedRequest {
    std::string method;
    std::string path;
    Json body; // null when it was no JSON
};

// A language model for tests and the demonstration: a loopback server that speaks the dialects of
// all four providers, their web searches included, and replies by rules. What it replies depends on
// nothing but the requests it really got. A request that breaks the provider's interface is refused
// as the provider refuses it. It serves pages, too, for tools to fetch. Safe from any thread.
class ScriptedModel {
public:
    explicit ScriptedModel(std::vector<ModelRule> script = {});
    ~ScriptedModel();

    // "http://127.0.0.1:PORT", to be set as a provider's host.
    std::string host() const;
    // Where `provider` ("anthropic", "openai", "gemini", "xai") is to be asked for a chat.
    std::string chatUrl(std::string_view provider) const;

    void addRule(ModelRule rule);
    // When the command has all the words.
    void answerWhen(std::vector<std::string> words, std::string text);
    // The same for a search by the provider.
    void searchWhen(std::vector<std::string> words, std::string text);
    // First the call, then an answer made from its result.
    void callToolWhen(std::vector<std::string> words, ModelToolCall call,
                      std::function<std::string(const std::string& result)> answer);
    // The next requests get these replies, in order, before any rule is looked at.
    void replyNext(std::vector<ModelReply> replies);
    // Any other key is refused from now on. At first every key but an empty one will do.
    void acceptOnlyKey(std::string key);

    // Serves `content` for GET requests; returns the page's address.
    std::string servePage(const std::string& path, std::string content,
                          std::string contentType = "text/html; charset=utf-8");

    int connectionCount() const;
    std::vector<RecordedRequest> requests() const;

private:
    struct Page {
        std::string content;
        std::string contentType;
    };

    ServedResponse serve(const ServedRequest& request, std::stop_token stop);
    ServedResponse servePageAt(const std::string& path) const;
    ServedResponse answer(const Dialect& dialect, const ServedRequest& request,
                          std::stop_token stop);
    ServedResponse send(const Dialect& dialect, const ModelTurn& turn, const ModelReply& reply,
                        std::stop_token stop);
    const Dialect* dialectFor(const std::string& path) const;
    void checkKey(const Dialect& dialect, const ServedRequest& request) const;
    ModelReply decide(const ModelTurn& turn);
    std::vector<ModelRule> currentRules() const;
    int nextNumber();

    std::vector<std::unique_ptr<Dialect>> dialects; // fixed
    mutable std::mutex mutex;
    std::vector<ModelRule> rules;          // guarded by mutex
    std::deque<ModelReply> repliesToCome;  // guarded by mutex
    std::string onlyKey;                   // guarded by mutex; empty: any
    std::map<std::string, Page> pages;     // guarded by mutex
    std::vector<RecordedRequest> recorded; // guarded by mutex
    int lastNumber = 0;                    // guarded by mutex
    LoopbackServer server;                 // last: its threads use all of the above
};

} // namespace tavik
