// The agent's own time for commands of ten and forty steps, with a model that answers at once,
// beside the time that as many bare exchanges with the same server take; connections opened for it:
// one. And the time to make readable text of a page of a megabyte.

#include "agent/AgentSession.h"
#include "agent/BuiltInTools.h"
#include "agent/ReadablePage.h"
#include "bench/FreshHome.h"
#include "brains/MakeBrain.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/http/HttpSession.h"
#include "tools/stand-ins/model/ScriptedModel.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>

namespace {

using namespace tavik;

constexpr int rounds = 20;

double milliseconds(const std::function<void()>& work) {
    const auto started = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started)
        .count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// All but one of the steps are tool calls, each for another page; then comes the answer.
std::vector<ModelReply> repliesOf(int steps, const std::string& page) {
    std::vector<ModelReply> replies;
    for (int step = 1; step < steps; ++step)
        replies.push_back(callTool("fetch_url", {{"url", fmt::format("{}?{}", page, step)}}));
    replies.push_back(say("Done."));
    return replies;
}

class AgentBench {
public:
    AgentBench() {
        defaults.set("geminiHost", model.host());
        brain = makeBrain(defaults, *http, systemClock());
    }

    void measureSteps(int steps) {
        std::vector<double> agent;
        for (int round = 0; round < rounds; ++round) {
            model.replyNext(repliesOf(steps, shortPage));
            AgentSession session(brain, makeSessionID(), surroundings());
            agent.push_back(milliseconds([&] { session.handle("fetch the pages", {}, {}); }));
        }
        const int connections = model.connectionCount();
        const int requests = 2 * steps - 1;
        std::vector<double> bare;
        bare.reserve(rounds);
        for (int round = 0; round < rounds; ++round)
            bare.push_back(milliseconds([&] { fetch(shortPage, requests); }));
        std::printf("%d steps (%d requests)   %7.2f ms, median of %d\n", steps, requests,
                    median(agent), rounds);
        std::printf("as many bare requests     %7.2f ms, ratio %.2f\n", median(bare),
                    median(agent) / median(bare));
        std::printf("connections opened so far %7d (limit 1)\n", connections);
    }

    void measurePage() {
        std::string html;
        while (html.size() < 1'000'000)
            html += "<p class=\"a\">Some words &amp; a <a href=\"/link\">link</a>.</p>\n"
                    "<script>if (a < b) c();</script>";
        const std::string page = model.servePage("/long", html);
        std::vector<double> reading;
        std::vector<double> bare;
        for (int round = 0; round < rounds; ++round) {
            reading.push_back(milliseconds([&] { fetchReadable(page, *http, {}); }));
            bare.push_back(milliseconds([&] { fetch(page, 1); }));
        }
        std::printf("text of a page of 1 MB    %7.2f ms, of which the transfer takes %.2f\n",
                    median(reading), median(bare));
    }

private:
    AgentSurroundings surroundings() {
        AgentSurroundings result;
        result.buildToolbox = [this](std::stop_token) {
            return DesktopToolbox(builtInToolSpecs(), std::nullopt, {.http = http.get()});
        };
        return result;
    }

    void fetch(const std::string& url, int times) {
        HttpRequest request;
        request.url = url;
        for (int count = 0; count < times; ++count)
            http->send(request, {});
    }

    const FreshHome home;
    ScriptedModel model;
    const std::string shortPage = model.servePage("/page", "<p>A short page.</p>");
    UserDefaults defaults{home.file("defaults.json")};
    const std::unique_ptr<HttpSession> http = makeHttpSession();
    std::shared_ptr<Brain> brain;
};

} // namespace

int main() {
    setenv("GEMINI_API_KEY", "bench-key", 1);
    AgentBench bench;
    bench.measureSteps(10);
    bench.measureSteps(40);
    bench.measurePage();
    return 0;
}
