#include "memory/summaries/MakeSummarizer.h"

#include "app/Log.h"
#include "memory/summaries/ExtractiveSummary.h"
#include "memory/summaries/LocalModelAddress.h"
#include "memory/summaries/LocalModelSummarizer.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Text.h"

#include <fmt/format.h>

namespace tavik {

namespace {

// Falls back on the conversation's own words.
class ChosenSummarizer : public Summarizer {
public:
    ChosenSummarizer(UserDefaults& settings, HttpSession& http)
        : defaults(settings)
        , session(http) {}

    std::string availability(std::stop_token stop) override {
        if (setting("localModelURL").empty())
            return "built-in summaries (no local model is set)";
        try {
            return localModel().availability(stop);
        } catch (const SummaryError& reason) {
            return fmt::format("built-in summaries ({})", reason.what());
        }
    }

    std::string summarize(const std::vector<ConversationTurn>& turns,
                          std::stop_token stop) override {
        throwIfStopped(stop);
        if (setting("localModelURL").empty())
            return extractiveSummary(turns);
        try {
            return localModel().summarize(turns, stop);
        } catch (const SummaryError& reason) {
            log(fmt::format("[memory] {} — using a built-in summary", reason.what()));
            return extractiveSummary(turns);
        }
    }

private:
    std::string setting(std::string_view key) { return trimmed(defaults.string(key).value_or("")); }

    // Throws SummaryError when the setting leads away from this machine.
    LocalModelSummarizer localModel() {
        const auto server = localModelServer(setting("localModelURL"));
        if (!server)
            throw SummaryError("the setting \"localModelURL\" is no address of this machine");
        return LocalModelSummarizer({*server, setting("localModel")}, session);
    }

    UserDefaults& defaults;
    HttpSession& session;
};

} // namespace

std::unique_ptr<Summarizer> makeSummarizer(UserDefaults& defaults, HttpSession& session) {
    return std::make_unique<ChosenSummarizer>(defaults, session);
}

std::unique_ptr<Summarizer> makeSummarizer() {
    return makeSummarizer(UserDefaults::standard(), sharedHttpSession());
}

} // namespace tavik
