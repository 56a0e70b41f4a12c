#include "tools/demo/ConversationWatch.h"

#include "tools/demo/Failure.h"

namespace tavik::demo {

namespace {

using namespace std::chrono_literals;
using std::chrono::system_clock;

constexpr auto readyPatience = 20s;
constexpr auto wakePatience = 4s; // after the last sample; the wake model looks back 1.5 s
constexpr auto commandPatience = 20s;
constexpr auto answerPatience = 30s;
constexpr auto liveAnswerPatience = 120s;
constexpr auto speechPatience = 60s;
constexpr auto followUpWindow = 6s;
constexpr auto followUpMargin = 600ms; // until the loop has noticed that the window is over

constexpr std::string_view wake = "🔔 wake";
constexpr std::string_view rejected = "🔕 wake rejected";
constexpr std::string_view nothingSaid = "🔕 wake confirmed but nothing was said";
constexpr std::string_view command = "[voice] command received";
constexpr std::string_view answer = "[voice] answer received";
constexpr std::string_view brainError = "brain error: ";
constexpr std::string_view pausePhrase = "🔇 pause phrase";
constexpr std::string_view stopPhrase = "🛑 stop phrase";
constexpr std::string_view followUp = "👂";
constexpr std::string_view endConversation = "🛑 end_conversation";
constexpr std::string_view pauseListening = "🔇 pause_listening";

std::string whyNothingWoke(bool wasSuspected) {
    return wasSuspected
               ? "Nothing woke: something sounded like the wake phrase, but on a second look "
                 "it was not \"Hey Vessa\"."
               : "Nothing woke: tavik did not hear \"Hey Vessa\".";
}

} // namespace

ConversationWatch::ConversationWatch(Program& watched, std::stop_token stopToken)
    : program(watched)
    , stop(std::move(stopToken)) {}

std::optional<LogLine> ConversationWatch::within(std::chrono::milliseconds patience,
                                                 const std::vector<std::string_view>& beginnings) {
    return program.await(beginnings, system_clock::now() + patience, stop);
}

void ConversationWatch::awaitReady() {
    if (!within(readyPatience, {"Tavik ready."}))
        throw Failure(ExitStatus::notReady, "tavik did not get ready in time.");
}

void ConversationWatch::awaitCommand() {
    const WallTime wakeBy = system_clock::now() + wakePatience;
    bool wasSuspected = false;
    while (program.await({wake}, wakeBy, stop)) {
        const auto next = within(commandPatience, {command, rejected, nothingSaid});
        if (!next)
            throw Failure(ExitStatus::emptyTranscript,
                          "tavik woke, but never ended its listening.");
        if (next->message.starts_with(command))
            return;
        if (next->message.starts_with(nothingSaid))
            throw Failure(ExitStatus::emptyTranscript,
                          "tavik woke, but understood no word of the command.");
        wasSuspected = true;
    }
    throw Failure(ExitStatus::nothingWoke, whyNothingWoke(wasSuspected));
}

void ConversationWatch::awaitAnswer(Model model) {
    const auto next = within(model == Model::live ? liveAnswerPatience : answerPatience,
                             {answer, brainError, pausePhrase, stopPhrase});
    if (!next)
        throw Failure(ExitStatus::noAnswer, "No answer came.");
    if (next->message.starts_with(brainError))
        throw Failure(ExitStatus::noAnswer,
                      "The model failed: " + next->message.substr(brainError.size()));
    if (!next->message.starts_with(answer))
        throw Failure(ExitStatus::noAnswer, "There is no answer, since what tavik heard ends a "
                                            "conversation without asking the model.");
    answered = next->time;
}

void ConversationWatch::awaitSpoken() {
    const auto next = within(speechPatience, {followUp, endConversation, pauseListening});
    if (!next)
        throw Failure(ExitStatus::nothingSpoken, "tavik never finished speaking.");
    spoken = next->time;
    ending = next->message;
}

bool ConversationWatch::awaitWaiting() {
    if (!ending.starts_with(followUp))
        return !ending.starts_with(pauseListening);
    if (program.await({command, wake}, spoken + followUpWindow + followUpMargin, stop))
        throw Failure(ExitStatus::uncleanEnd, "tavik heard something after its answer, though "
                                              "nobody spoke.");
    return true;
}

} // namespace tavik::demo
