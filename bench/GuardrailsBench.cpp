// What the guardrails' check of a text to be typed takes, for a line, for a megabyte, and for a
// text made to be slow, beside ICU's regular expressions looking for the same commands.

#include "agent/Guardrails.h"
#include "bench/FreshHome.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <unicode/regex.h>
#include <vector>

namespace {

using namespace tavik;

constexpr const char* recursiveDelete =
    R"re(\brm\s+(?:-\w+\s+)*(?:-\w*[rR]\w*|--recursive)\s+(?:-\w+\s+)*(?:--\s+)?)re"
    R"re((?:"(?:/|~/?|\$HOME/?)(?:\*)?"|'(?:/|~/?|\$HOME/?)(?:\*)?'|)re"
    R"re((?:/|~/?|\$HOME/?)(?:\*)?)(?=\s|$))re";

constexpr const char* peerExpressions[] = {
    recursiveDelete,
    R"(\bsudo\s+rm\b)",
    R"(\bmkfs)",
    R"(\bdiskutil\s+(erase|reformat|partitionDisk|zeroDisk))",
    R"(\bdd\s+[^\n]*\bof=/dev/)",
    R"(>\s*/dev/(disk|rdisk))",
    R"(:\(\)\s*\{[^}]*\|[^}]*&[^}]*\})",
    R"(\bchmod\s+(-\w+\s+)*000\s+/)",
    R"(\blaunchctl\s+(bootout|unload)\s+system)",
    R"(\bcsrutil\s+disable)",
    R"(\brm\s)",
    R"(\bsudo\b)",
    R"(\bgit\s+push\b)",
    R"(\bgit\s+reset\s+--hard\b)",
    R"(\bgit\s+clean\b)",
    R"(\bkillall\b)",
    R"(\b(shutdown|reboot)\b)",
};

class Peer {
public:
    Peer() {
        for (const char* expression : peerExpressions) {
            UErrorCode status = U_ZERO_ERROR;
            matchers.push_back(std::make_unique<icu::RegexMatcher>(
                icu::UnicodeString(expression), UREGEX_CASE_INSENSITIVE, status));
            if (U_FAILURE(status))
                throw std::runtime_error(expression);
        }
    }

    bool findsOneIn(const std::string& text) {
        const auto input = icu::UnicodeString::fromUTF8(text);
        bool found = false;
        for (const auto& matcher : matchers)
            found = matcher->reset(input).find() || found;
        return found;
    }

private:
    std::vector<std::unique_ptr<icu::RegexMatcher>> matchers;
};

double microseconds(int rounds, const std::function<void()>& work) {
    work();
    const auto started = std::chrono::steady_clock::now();
    for (int round = 0; round < rounds; ++round)
        work();
    const auto taken = std::chrono::steady_clock::now() - started;
    return std::chrono::duration<double, std::micro>(taken).count() / rounds;
}

std::string repeated(const std::string& piece, std::size_t size) {
    std::string text;
    while (text.size() < size)
        text += piece;
    return text.substr(0, size);
}

void measure(const char* name, const std::string& text, int rounds, int peerRounds) {
    Guardrails guardrails;
    Peer peer;
    const ToolCall call = {"id", "type_text", {{"text", text}}};
    bool foundOne = false;
    const double ours =
        microseconds(rounds, [&] { foundOne = guardrails.check(call, 1).has_value() || foundOne; });
    const double theirs =
        microseconds(peerRounds, [&] { foundOne = peer.findsOneIn(text) || foundOne; });
    std::printf("%-28s %10.1f us, ICU %12.1f us, ratio %.4f%s\n", name, ours, theirs, ours / theirs,
                foundOne ? " (not harmless)" : "");
}

} // namespace

int main() {
    const FreshHome home;
    const std::string prose = "Dear all, the form is ready; if (a && b) { c(); } for the agenda. ";
    measure("200 characters", repeated(prose, 200), 20'000, 2'000);
    measure("1 MB", repeated(prose, 1'000'000), 50, 5);
    measure("1 MB, another script", repeated("Лес и поле. ", 1'000'000), 50, 5);
    measure("20 kB, made to be slow", repeated("dd of=/de ", 20'000), 1'000, 3);
    return 0;
}
