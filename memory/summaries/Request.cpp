#include "memory/summaries/Request.h"

#include "memory/summaries/Courtesies.h"
#include "memory/summaries/Sentences.h"
#include "platform/text/Pattern.h"
#include "platform/text/Text.h"

#include <optional>

namespace tavik {

namespace {

Pattern pattern(std::string_view expression) {
    return *Pattern::compile(expression, Pattern::Case::insensitive);
}

// Calls for attention and noises of thought, which say nothing.
std::string withoutAddress(const std::string& sentence) {
    static const Pattern address =
        pattern(R"(^(?:(?:(?:hey|hi|hello|ok|okay)[\s,]+)?(?:vessa|tavik)\b[\s,.!]*|)"
                R"((?:um+|uh+|erm?)\b[\s,.]+)+)");
    return address.replaceAll(sentence, "");
}

std::string withoutPoliteness(const std::string& sentence) {
    static const Pattern before = pattern(
        R"(^(?:(?:hey|hi|hello|ok|okay|alright|so|well|now|and|then|also|just|kindly|please|)"
        R"((?:can|could|will|would) you|(?:i want|i need|i'd like|i would like) you to|)"
        R"(go ahead and)[\s,.!]+)+)");
    static const Pattern after = pattern(R"(,?\s+please[\s.!?]*$|[\s.!?…]+$)");
    return after.replaceAll(before.replaceAll(sentence, ""), "");
}

// English imperatives only, and of the words that are nouns as well, only where what follows tells.
bool beginsWithVerb(const std::string& text) {
    static const Pattern verb = pattern(
        R"(^(?:open|close|quit|launch|start|play|pause|resume|skip|mute|unmute|show|tell|read|)"
        R"(write|send|create|add|delete|remove|rename|move|save|download|install|find|give|make|)"
        R"(put|take|get|go|bring|keep|explain|describe|translate|summarize|calculate|compute|)"
        R"(convert|suggest|recommend|teach|remind|call|check|set|turn|switch|look|say|sing|ask|)"
        R"(fetch|pick|order|buy|undo|redo|paste|click|scroll|press|type|sort|compress|)"
        R"((?:book|email|text|search|run|count|share|help|update|google|schedule|draft|copy|list|)"
        R"(spell|fix|record|note|print|scan|test|change|cancel|stop|fill)\s+)"
        R"((?:the|an?|this|that|these|those|all|every|some|it|me|my|us|our|up|down|out|in|for))\b)"
        R"((?:[^'’-]|$))");
    return verb.matches(text);
}

bool speaksOfPersons(const std::string& text) {
    static const Pattern persons =
        pattern(R"(\b(?:i|me|my|mine|myself|we|us|our|ours|you|your|yours|yourself)\b)");
    return persons.matches(text);
}

bool isQuestion(const std::string& text) {
    static const Pattern opening = pattern(
        R"(^(?:¿|(?:(?:hey|hi|hello|ok|okay|so|well|now|and|then|also)[\s,.!]+)*)"
        R"((?:what|who|whom|whose|where|when|why|how|which|is|are|am|was|were|do|does|did|can|)"
        R"(could|will|would|should|has|isn't|aren't|don't|doesn't)\b.*\s))");
    return endsAsQuestion(text) || (opening.matches(text) && !text.ends_with('!'));
}

// `first` in lower case is a verb for sure.
std::string withSmallFirstLetter(std::string text) {
    return lowercased(text.substr(0, 1)) + text.substr(1);
}

std::optional<Request> commandIn(const std::string& sentence) {
    const std::string text = withoutPoliteness(sentence);
    if (!beginsWithVerb(text))
        return std::nullopt;
    const auto kind = speaksOfPersons(text) ? Request::Kind::quotedCommand : Request::Kind::command;
    return Request{kind, withSmallFirstLetter(text)};
}

Request classified(const std::string& sentence) {
    if (auto command = commandIn(sentence))
        return std::move(*command);
    return {isQuestion(sentence) ? Request::Kind::question : Request::Kind::statement, sentence};
}

} // namespace

bool endsAsQuestion(std::string_view text) {
    static const Pattern questionMark = pattern(R"([?？؟]["'”’»)\s]*$)");
    return questionMark.matches(text);
}

Request requestIn(const std::string& utterance) {
    std::optional<Request> told;
    for (const std::string& sentence : sentences(utterance)) {
        const std::string matter = withoutAddress(sentence);
        if (isCourtesy(matter))
            continue;
        Request request = classified(matter);
        if (request.kind != Request::Kind::statement)
            return request;
        if (!told)
            told = std::move(request);
    }
    return told.value_or(Request{Request::Kind::statement, utterance});
}

} // namespace tavik
