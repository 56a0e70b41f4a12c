#pragma once

#include "agent/AgentSession.h"
#include "brains/Brain.h"
#include "platform/http/HttpSession.h"

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace tavik {

// A model whose replies are written down beforehand; past their end it answers "Done.".
class ScriptedBrain : public Brain {
public:
    using Step = std::function<BrainReply(std::stop_token)>;

    std::string label() const override { return name; }
    BrainReply chat(const std::vector<AgentMessage>& messages, const std::vector<ToolSpec>& tools,
                    std::stop_token stop) override;
    std::string webSearch(const std::string& query, std::stop_token stop) override;

    void will(BrainReply reply);
    void will(Step step) { steps.push_back(std::move(step)); }

    std::string name = "anthropic/scripted";
    std::deque<Step> steps;
    // What a search gives; the session sees it as the tool "web_search".
    std::function<std::string(const std::string&, std::stop_token)> search =
        [](const std::string& query, std::stop_token) { return "found " + query; };

    std::vector<std::string> searches;
    int chats = 0;
};

class FakeHttpSession : public HttpSession {
public:
    HttpResponse send(const HttpRequest& request, std::stop_token stop) override {
        requests.push_back(request);
        return answer(request, stop);
    }

    std::function<HttpResponse(const HttpRequest&, std::stop_token)> answer = [](const HttpRequest&,
                                                                                 std::stop_token) {
        return HttpResponse{404, {}, ""};
    };
    std::vector<HttpRequest> requests;
};

BrainReply saying(std::string text);
BrainReply calling(std::vector<ToolCall> calls);
ToolCall searchFor(std::string id, std::string query);
// Surroundings whose tools fetch through `http`.
AgentSurroundings surroundedBy(HttpSession& http);
// The results in a transcript, in order.
std::vector<std::string> toolResults(const std::vector<AgentMessage>& messages);
// Blocks until a stop is requested, then throws Cancelled.
void waitForStop(std::stop_token stop);
// The events in the audit's file so far, without their times.
std::vector<std::string> auditedEvents();

} // namespace tavik
