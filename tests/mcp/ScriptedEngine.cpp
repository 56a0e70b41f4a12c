// An engine that does to its client whatever the called tool's name says.

#include "platform/json/Json.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <thread>
#include <unistd.h>

namespace {

using namespace tavik;
using namespace std::chrono_literals;

std::string batch; // replies held back
std::vector<Json> cancelled;

void say(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written <= 0)
            std::exit(0);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string replyLine(const Json& id, const Json& result) {
    return compactJson({{"jsonrpc", "2.0"}, {"id", id}, {"result", result}}) + "\n";
}

Json textResult(const std::string& text) {
    return {{"content", Json::array({{{"type", "text"}, {"text", text}}})}};
}

void saySlowly(const std::string& line) {
    for (std::size_t begin = 0; begin < line.size(); begin += line.size() / 3 + 1) {
        say(std::string_view(line).substr(begin, line.size() / 3 + 1));
        std::this_thread::sleep_for(20ms);
    }
}

void babble(const Json& id) {
    say("not JSON\n\n[1,2]\n7\n{\"jsonrpc\":\"2.0\",\"method\":\"notifications/progress\"}\n");
    say(replyLine(std::to_string(id.get<int>()), textResult("a wrong id")));
    say(replyLine(999'999, textResult("nobody asked")));
    say("{\"id\":" + std::string(5000, '[') + "\n");
}

void flood() {
    const std::string line(100'000, 'x');
    for (int count = 0; count < 100; ++count) {
        std::cerr << line << std::flush;
        say("{\"method\":\"" + line + "\"}\n");
    }
}

std::string openDescriptors() {
    std::string numbers;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        numbers += entry.path().filename().string() + " ";
    return numbers;
}

// Tools of the desktop say what they were called with.
void callDesktop(const std::string& tool, const Json& arguments, const Json& id) {
    if (arguments.contains("exit"))
        std::exit(3);
    if (arguments.contains("hang")) { // and the file of that name tells that the call has come
        std::ofstream(arguments["hang"].get<std::string>());
        return;
    }
    if (arguments.contains("pid"))
        return say(replyLine(id, textResult(std::to_string(getpid()))));
    Json result = textResult(tool + " " + compactJson(arguments));
    result["structuredContent"] = arguments;
    say(replyLine(id, result));
}

void call(const std::string& tool, const Json& arguments, const Json& id) {
    const std::map<std::string, std::function<void()>> tools = {
        {"echo", [&] { say(replyLine(id, textResult(compactJson(arguments)))); }},
        {"raw",
         [&] {
             Json reply = arguments;
             reply["id"] = id;
             say(compactJson(reply) + "\n");
         }},
        {"big",
         [&] {
             say(replyLine(id,
                           textResult(std::string(arguments["bytes"].get<std::size_t>(), 'x'))));
         }},
        {"split", [&] { saySlowly(replyLine(id, textResult("split"))); }},
        {"hold", [&] { batch = replyLine(id, textResult("held")) + batch; }},
        {"release", [&] { say(batch + replyLine(id, textResult("released"))); }},
        {"babble",
         [&] {
             babble(id);
             say(replyLine(id, textResult("after all")));
         }},
        {"flood",
         [&] {
             flood();
             say(replyLine(id, textResult("after the flood")));
         }},
        {"hang", [] {}},
        {"cancelled", [&] { say(replyLine(id, textResult(compactJson(cancelled)))); }},
        {"descriptors", [&] { say(replyLine(id, textResult(openDescriptors()))); }},
        {"pid", [&] { say(replyLine(id, textResult(std::to_string(getpid())))); }},
        {"variable",
         [&] {
             const char* value = std::getenv("TAVIK_TEST_VARIABLE");
             say(replyLine(id, textResult(value ? value : "none")));
         }},
        {"last words",
         [&] {
             say(replyLine(id, textResult("and gone")));
             std::exit(0);
         }},
        {"exit", [] { std::exit(3); }},
        {"deaf", [] { pause(); }},
        {"stubborn",
         [&] {
             std::signal(SIGTERM, SIG_IGN);
             say(replyLine(id, textResult("staying")));
             pause();
         }},
    };
    const auto found = tools.find(tool);
    if (found == tools.end())
        return callDesktop(tool, arguments, id);
    found->second();
}

void handle(const Json& message) {
    const std::string method = stringMember(message, "method").value_or("");
    const Json& id = message.contains("id") ? message["id"] : Json();
    if (method == "initialize")
        say(replyLine(id, {{"protocolVersion", "2024-11-05"}}));
    else if (method == "tools/list")
        say(replyLine(id, parseJson(std::getenv("TAVIK_TEST_TOOLS")).value()));
    else if (method == "notifications/cancelled")
        cancelled.push_back(message["params"]);
    else if (method == "tools/call")
        call(message["params"]["name"], message["params"]["arguments"], id);
}

} // namespace

int main(int count, char** arguments) {
    if (count > 1 && arguments[1] == std::string("mute"))
        pause();
    for (std::string line; std::getline(std::cin, line);)
        handle(parseJson(line).value());
    return 0;
}
