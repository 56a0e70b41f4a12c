// The agent's own time for a command of ten steps, with a model that answers at once, beside the
// time that ten bare exchanges with the same server take. Connections opened for it: one.

#include "agent/AgentSession.h"
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

constexpr int steps = 10;
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

// Nine tool calls, each another page, then the answer.
std::vector<ModelReply> tenSteps(const std::string& page) {
    std::vector<ModelReply> replies;
    for (int step = 1; step < steps; ++step)
        replies.push_back(callTool("fetch_url", {{"url", fmt::format("{}?{}", page, step)}}));
    replies.push_back(say("Done."));
    return replies;
}

void run(const FreshHome& home) {
    ScriptedModel model;
    const std::string page = model.servePage("/page", "<p>A short page.</p>");
    UserDefaults defaults(home.file("defaults.json"));
    defaults.set("geminiHost", model.host());
    const auto http = makeHttpSession();
    const std::shared_ptr<Brain> brain = makeBrain(defaults, *http, systemClock());

    std::vector<double> agent;
    for (int round = 0; round < rounds; ++round) {
        model.replyNext(tenSteps(page));
        AgentSurroundings surroundings;
        surroundings.buildToolbox = [&](std::stop_token) {
            return DesktopToolbox(DesktopToolbox::build({}).specs(), *http);
        };
        AgentSession session(brain, makeSessionID(), surroundings);
        agent.push_back(milliseconds([&] { session.handle("fetch the pages", {}, {}); }));
    }
    const int connections = model.connectionCount();

    HttpRequest bare;
    bare.method = "GET";
    bare.url = page;
    std::vector<double> exchanges;
    exchanges.reserve(rounds);
    for (int round = 0; round < rounds; ++round)
        exchanges.push_back(milliseconds([&] {
            for (int request = 0; request < 2 * steps - 1; ++request)
                http->send(bare, {});
        }));
    std::printf("ten steps (%d requests)   %7.2f ms, median of %d\n", 2 * steps - 1, median(agent),
                rounds);
    std::printf("as many bare requests     %7.2f ms, ratio %.2f\n", median(exchanges),
                median(agent) / median(exchanges));
    std::printf("connections opened        %7d (limit 1)\n", connections);
}

} // namespace

int main() {
    const tavik::FreshHome home;
    setenv("GEMINI_API_KEY", "bench-key", 1);
    run(home);
    return 0;
}
