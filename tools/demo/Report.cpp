#include "tools/demo/Report.h"

#include "tools/demo/Timeline.h"

#include <fmt/format.h>

namespace tavik::demo {

namespace {

constexpr double noticeableStall = 0.05; // seconds

// Puts the lines of tavik's log into words, one after the other.
class LogReading {
public:
    LogReading(const Findings& allFindings, Timeline& target)
        : user(allFindings.userTimes())
        , timeline(target) {}

    void read(const LogLine& line) {
        const auto begins = [&](std::string_view beginning) {
            return line.message.starts_with(beginning);
        };
        if (begins("🔔"))
            wakes(line);
        else if (begins("[wake-verify] confirmed"))
            timeline.add(line.time, "wake phrase confirmed",
                         inSeconds(woke, line.time) + " after the wake");
        else if (begins("[voice] command received"))
            understands(line);
        else if (begins("[agent] → "))
            beginsTool(line);
        else if (begins("[agent] ← "))
            endsTool(line);
        else if (begins("[voice] answer received"))
            timeline.add(line.time, "answer complete",
                         inSeconds(understood, line.time) + " after the command");
        else if (begins("👂"))
            timeline.add(line.time, "listens for a follow-up");
        else if (isWorthShowing(line.message))
            timeline.add(line.time, line.message);
    }

private:
    static bool isWorthShowing(std::string_view message) {
        for (const std::string_view mark : {"🔕", "🛑", "🔇", "✋", "⛔", "⚠", "error"})
            if (message.find(mark) != std::string_view::npos)
                return true;
        return false;
    }

    void wakes(const LogLine& line) {
        woke = line.time;
        std::string note;
        if (user && user->phraseEnd)
            note = woke < *user->phraseEnd
                       ? inSeconds(woke, *user->phraseEnd) + " before the phrase ends"
                       : inSeconds(*user->phraseEnd, woke) + " after the phrase";
        else if (user)
            note = inSeconds(user->begin, woke) + " after the first sound";
        timeline.add(woke, "wakes", note);
    }

    void understands(const LogLine& line) {
        understood = line.time;
        timeline.add(understood, "command understood",
                     user ? inSeconds(user->end, understood) +
                                " after the last word; 1.20 s is the silence that ends a command"
                          : "");
    }

    void beginsTool(const LogLine& line) {
        toolBegan = line.time;
        timeline.add(line.time, "tool begins: " + line.message.substr(line.message.find("→ ") + 4));
    }

    void endsTool(const LogLine& line) {
        timeline.add(line.time, "tool ends: " + line.message.substr(line.message.find("← ") + 4),
                     inSeconds(toolBegan, line.time));
    }

    const std::optional<UserTimes> user;
    Timeline& timeline;
    WallTime woke{};
    WallTime understood{};
    WallTime toolBegan{};
};

void addUser(Timeline& timeline, const UserTimes& user) {
    timeline.add(user.begin, user.commandBegin ? "user begins to speak" : "recording's first sound",
                 user.stall > noticeableStall
                     ? fmt::format("the machine held up the playback by {:.2f} s", user.stall)
                     : "");
    if (user.phraseEnd)
        timeline.add(*user.phraseEnd,
                     user.commandBegin ? "\"Hey Vessa\" ends" : "first pause in the recording");
    if (user.commandBegin)
        timeline.add(*user.commandBegin, "command begins");
    timeline.add(user.end, user.commandBegin ? "user's last word ends" : "recording's last sound");
}

void addExchanges(Timeline& timeline, const std::vector<Exchange>& exchanges) {
    for (const Exchange& exchange : exchanges) {
        std::string what = exchange.reply.calls.empty() ? "model answers" : "model calls";
        for (const ModelToolCall& call : exchange.reply.calls)
            what += " " + call.name;
        timeline.add(exchange.time, what);
    }
}

void addSpeech(Timeline& timeline, const Findings& findings) {
    const auto part = findings.saidAloud();
    if (!part)
        return;
    const WallTime first = findings.speaker.timeOf(part->begin);
    const WallTime last = findings.speaker.timeOf(part->end - 1);
    timeline.add(first, "first sound of the answer",
                 inSeconds(*findings.answered, first) + " after the answer");
    timeline.add(last, "last sound of the answer", inSeconds(first, last) + " of speech");
}

void addEnd(Timeline& timeline, const Findings& findings) {
    if (findings.waitingAgain)
        timeline.add(*findings.waitingAgain, "waits for \"Hey Vessa\" again");
    if (findings.askedToEnd)
        timeline.add(*findings.askedToEnd, "asked to end (SIGTERM)");
    if (findings.ended)
        timeline.add(*findings.ended, "ended with status 0",
                     inSeconds(*findings.askedToEnd, *findings.ended));
}

WallTime beginningOf(const Findings& findings) {
    if (const auto user = findings.userTimes())
        return user->begin;
    return findings.log.empty() ? WallTime{} : findings.log.front().time;
}

} // namespace

std::string timelineOf(const Findings& findings) {
    Timeline timeline;
    if (const auto user = findings.userTimes())
        addUser(timeline, *user);
    LogReading reading(findings, timeline);
    for (const LogLine& line : findings.log)
        reading.read(line);
    addExchanges(timeline, findings.exchanges);
    addSpeech(timeline, findings);
    addEnd(timeline, findings);
    return timeline.text(beginningOf(findings));
}

} // namespace tavik::demo
