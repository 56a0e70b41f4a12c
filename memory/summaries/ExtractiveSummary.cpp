#include "memory/summaries/ExtractiveSummary.h"

#include "memory/Summarizer.h"
#include "memory/summaries/Courtesies.h"
#include "memory/summaries/Exchange.h"
#include "memory/summaries/Request.h"
#include "memory/summaries/Sentences.h"
#include "memory/summaries/SummaryParts.h"
#include "memory/summaries/WordWeights.h"
#include "platform/text/Pattern.h"

namespace tavik {

namespace {

constexpr std::size_t longestSummary = 200;
// About a word of some length.
constexpr double leastTelling = 1;

// What stands in quotes can hold none of its own.
std::string withSingleQuotes(const std::string& text) {
    static const Pattern quotes = *Pattern::compile("[\"“”„«»]", Pattern::Case::sensitive);
    return quotes.replaceAll(text, "'");
}

// Something follows it.
std::string withoutFullStop(const std::string& text) {
    static const Pattern fullStop =
        *Pattern::compile(R"([\s.,;:。।۔]+$)", Pattern::Case::sensitive);
    return fullStop.replaceAll(text, "");
}

struct Openings {
    std::string command, question, statement;
};

SummaryPart requestPart(const std::string& utterance, const Openings& openings) {
    const Request request = requestIn(utterance);
    const std::string text = withoutFullStop(withSingleQuotes(request.text));
    switch (request.kind) {
    case Request::Kind::command:
        return {openings.command, text, ""};
    case Request::Kind::quotedCommand:
        return {openings.command + '"', text, "\""};
    case Request::Kind::question:
        return {openings.question + '"', text, "\""};
    default:
        return {openings.statement + '"', text, "\""};
    }
}

SummaryPart firstPart(const std::string& utterance) {
    return requestPart(utterance, {"You asked Tavik to ", "You asked Tavik ", "You told Tavik "});
}

SummaryPart nextPart(const std::string& utterance) {
    return requestPart(utterance, {", then asked it to ", ", then asked ", ", then said "});
}

// The first sentence of an answer that tells something.
std::string tellingSentence(const std::string& answer, const WordWeights& weights) {
    const auto all = sentences(answer);
    for (const std::string& sentence : all)
        if (!isCourtesy(sentence) && weights.of(sentence) > 0)
            return sentence;
    return all.empty() ? answer : all.front();
}

// Of the exchanges after the first, the one whose request tells most; null when none tells enough.
const Exchange* mostTelling(const std::vector<Exchange>& exchanges, const WordWeights& weights) {
    const Exchange* chosen = nullptr;
    double most = leastTelling;
    for (std::size_t index = 1; index < exchanges.size(); ++index) {
        const Exchange& exchange = exchanges[index];
        const double unanswered = exchange.answer.empty() ? 0.5 : 1;
        const double weight = weights.of(exchange.request) * unanswered;
        if (weight >= most) {
            chosen = &exchange;
            most = weight;
        }
    }
    return chosen;
}

std::vector<SummaryPart> partsOf(const Exchange& first, const Exchange* next,
                                 const WordWeights& weights) {
    std::vector<SummaryPart> parts;
    if (!first.request.empty())
        parts.push_back(firstPart(first.request));
    if (next)
        parts.push_back(parts.empty() ? firstPart(next->request) : nextPart(next->request));
    const std::string& answer = next ? next->answer : first.answer;
    if (answer.empty())
        return parts;
    const char* openings[] = {"Tavik said \"", " and it answered \"", ", and it answered \""};
    const std::string text = withSingleQuotes(tellingSentence(answer, weights));
    parts.push_back({openings[parts.size()], text, "\""});
    return parts;
}

} // namespace

std::string extractiveSummary(const std::vector<ConversationTurn>& turns) {
    const auto exchanges = exchangesOf(turns);
    if (exchanges.empty())
        throw SummaryError("Nothing was said.");
    const WordWeights weights(exchanges);
    return sentenceOf(partsOf(exchanges.front(), mostTelling(exchanges, weights), weights),
                      longestSummary);
}

} // namespace tavik
