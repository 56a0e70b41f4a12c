#include "memory/summaries/Exchange.h"

#include "memory/summaries/Courtesies.h"
#include "memory/summaries/OneLine.h"
#include "memory/summaries/Request.h"
#include "platform/text/Pattern.h"

#include "platform/text/Text.h"

#include <utility>

namespace tavik {

namespace {

constexpr std::size_t bytesOfTurn = 4096;
constexpr std::size_t firstTurns = 20;
constexpr std::size_t lastTurns = 180;

std::string spokenLine(std::string_view text) {
    static const Pattern markup =
        *Pattern::compile(R"(\*{2,}|`+|(?m:^\s*(?:#+|[*•-])\s+))", Pattern::Case::sensitive);
    return oneLine(markup.replaceAll(firstBytes(text, bytesOfTurn), ""));
}

// Joins turns to exchanges, courtesies apart from the rest.
class Conversation {
public:
    void add(const ConversationTurn& turn) {
        const std::string line = spokenLine(turn.text);
        if (line.empty())
            return;
        if (turn.role == "user")
            addRequest(line);
        else if (turn.role == "assistant")
            addAnswer(line);
    }

    std::vector<Exchange> result() && { return std::move(matters.empty() ? courteous : matters); }

private:
    void addRequest(const std::string& line) {
        if (isConsent(line) && current == &matters && asksBack())
            return;
        current = isCourtesy(line) ? &courteous : &matters;
        current->push_back({line, ""});
    }

    void addAnswer(const std::string& line) {
        if (current->empty())
            current->push_back({});
        std::string& answer = current->back().answer;
        if (answer.empty() || !isCourtesy(line))
            answer = line;
    }

    bool asksBack() const { return !matters.empty() && endsAsQuestion(matters.back().answer); }

    std::vector<Exchange> matters;
    std::vector<Exchange> courteous;
    std::vector<Exchange>* current = &matters; // the list that an answer belongs to
};

} // namespace

std::vector<Exchange> exchangesOf(const std::vector<ConversationTurn>& turns) {
    Conversation conversation;
    for (std::size_t index = 0; index < turns.size(); ++index)
        if (index < firstTurns || index + lastTurns >= turns.size())
            conversation.add(turns[index]);
    return std::move(conversation).result();
}

} // namespace tavik
