#include "memory/summaries/LocalModelSummarizer.h"

#include "memory/Summarizer.h"
#include "memory/summaries/ConversationPrompt.h"
#include "memory/summaries/OneLine.h"
#include "memory/summaries/Sentences.h"
#include "memory/summaries/StripPreamble.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Pattern.h"
#include "platform/text/Text.h"

#include <fmt/format.h>
#include <utility>

namespace tavik {

namespace {

// Models that think aloud need most of them for that.
constexpr int mostTokens = 800;
constexpr std::size_t mostAnswerBytes = 256 * 1024;
constexpr std::size_t longestSummary = 300; // characters
constexpr std::size_t longestModelName = 100;

bool hasParagraphs(const std::string& text) {
    static const Pattern emptyLine = *Pattern::compile(R"(\n[ \t\r]*\n)", Pattern::Case::sensitive);
    return emptyLine.matches(text);
}

// As many whole sentences as a summary may have.
std::string firstSentences(const std::string& line) {
    std::string taken;
    for (const std::string& sentence : sentences(line)) {
        const std::string longer = joined({taken, sentence}, taken.empty() ? "" : " ");
        if (characterCount(longer) > longestSummary)
            break;
        taken = longer;
    }
    return taken;
}

// Whether it is a program's text or has no word at all.
bool isNoProse(const std::string& text) {
    return text.find_first_of("{[<") == 0 || words(text).empty();
}

// Empty when the answer is no such sentence as was asked for.
std::string sentenceIn(const std::string& answer) {
    const std::string text = withoutPreamble(answer);
    if (isNoProse(text) || hasParagraphs(text))
        return "";
    return firstSentences(oneLine(text));
}

std::string contentOf(const Json& reply) {
    const Json* choices = member(reply, "choices");
    if (!choices || !choices->is_array() || choices->empty())
        return "";
    const Json* message = member(choices->front(), "message");
    return message ? stringMember(*message, "content").value_or("") : "";
}

// Some servers list the models that make search keys of texts, too.
std::string firstChatModel(const std::vector<std::string>& models) {
    for (const std::string& model : models)
        if (lowercased(model).find("embed") == std::string::npos)
            return model;
    return "";
}

} // namespace

LocalModelSummarizer::LocalModelSummarizer(Settings chosen, HttpSession& http)
    : settings(std::move(chosen))
    , session(http) {}

void LocalModelSummarizer::fail(const std::string& what) const {
    throw SummaryError(fmt::format("the local model at {} {}", settings.server, what));
}

Json LocalModelSummarizer::ask(HttpRequest request, std::stop_token stop) const {
    // Those who want a key take any.
    request.headers = {{"Authorization", "Bearer local"}, {"content-type", "application/json"}};
    request.maximumResponseBytes = mostAnswerBytes;
    HttpResponse response;
    try {
        response = session.send(request, stop);
    } catch (const TransportError& error) {
        throwIfStopped(stop);
        fail(error.failure == TransportFailure::responseTooLarge ? "answers at far too great length"
                                                                 : "does not answer");
    }
    if (response.status < 200 || response.status > 299)
        fail(fmt::format("answers with status {}", response.status));
    return parseJson(response.body).value_or(Json());
}

std::vector<std::string> LocalModelSummarizer::listedModels(std::stop_token stop) const {
    HttpRequest request;
    request.url = settings.server + "/v1/models";
    request.timeout = settings.patienceForLook;
    const Json reply = ask(std::move(request), stop);
    const Json* list = member(reply, "data");
    if (!list || !list->is_array())
        fail("lists no models");
    std::vector<std::string> models;
    for (const Json& entry : *list)
        if (const auto name = stringMember(entry, "id"); name && !name->empty())
            models.push_back(*name);
    return models;
}

std::string LocalModelSummarizer::availableModel(std::stop_token stop) const {
    const auto models = listedModels(std::move(stop));
    // Servers know their models by other names, too: they decide about one that is not listed.
    std::string model = settings.model.empty() ? firstChatModel(models) : settings.model;
    if (model.empty())
        fail("has no model loaded");
    return model;
}

std::string LocalModelSummarizer::availability(std::stop_token stop) const {
    const std::string model = availableModel(std::move(stop));
    return fmt::format("local model {} at {}", shortened(oneLine(model), longestModelName),
                       settings.server);
}

std::string LocalModelSummarizer::summarize(const std::vector<ConversationTurn>& turns,
                                            std::stop_token stop) const {
    const Json system = {{"role", "system"}, {"content", summaryInstructions}};
    const Json user = {{"role", "user"}, {"content", conversationPrompt(turns)}};
    const Json body = {{"model", availableModel(stop)},
                       {"messages", Json::array({system, user})},
                       {"max_tokens", mostTokens}};
    HttpRequest request;
    request.method = "POST";
    request.url = settings.server + "/v1/chat/completions";
    request.timeout = settings.patienceForAnswer;
    request.body = compactJson(body);
    std::string sentence = sentenceIn(contentOf(ask(std::move(request), stop)));
    if (sentence.empty())
        fail("gave no usable answer");
    return sentence;
}

} // namespace tavik
