#pragma once

#include "memory/Records.h"
#include "platform/http/HttpSession.h"
#include "platform/json/Json.h"

#include <chrono>
#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

// Lets a language model on this machine sum up conversations, through OpenAI's chat completions,
// which every such server speaks. Everything is asked once. The calls throw SummaryError, with a
// phrase that can stand in a log line or in brackets, or Cancelled. Safe from any thread.
class LocalModelSummarizer {
public:
    struct Settings {
        std::string server; // as localModelServer gives it
        std::string model;  // empty for the first one that the server lists
        // A model that thinks keeps the machine busy, and its server slow to list what it has.
        std::chrono::milliseconds patienceForLook{3'000};
        std::chrono::milliseconds patienceForAnswer{17'000};
    };

    LocalModelSummarizer(Settings chosen, HttpSession& http);

    // Which model answers now: "local model qwen3:8b at http://127.0.0.1:11434".
    std::string availability(std::stop_token stop) const;

    // The model's sentence, or two when they are short, on one line.
    std::string summarize(const std::vector<ConversationTurn>& turns, std::stop_token stop) const;

private:
    std::string availableModel(std::stop_token stop) const;
    std::vector<std::string> listedModels(std::stop_token stop) const;
    Json ask(HttpRequest request, std::stop_token stop) const;
    [[noreturn]] void fail(const std::string& what) const;

    const Settings settings;
    HttpSession& session;
};

} // namespace tavik
