#include "ui/widgets/ModelChoices.h"

#include "brains/BrainCatalogue.h"

namespace tavik {

namespace {

QString defaultLabel(const std::string& provider) {
    if (provider == "anthropic")
        return "Claude Haiku 4.5 — default";
    if (provider == "openai")
        return "GPT-4o mini — default";
    return provider == "xai" ? "Grok 2 — default" : "Gemini 3.5 Flash-Lite — default";
}

// The larger ones, in which the level of effort can be chosen.
std::vector<Choice> furtherModels(const std::string& provider) {
    if (provider == "anthropic")
        return {{"Claude Sonnet 4.6", "claude-sonnet-4-6"}, {"Claude Opus 4.8", "claude-opus-4-8"}};
    if (provider == "openai")
        return {{"GPT-5.6", "gpt-5.6"}};
    if (provider == "xai")
        return {{"Grok 4.5", "grok-4.5"}};
    return {{"Gemini 3.6 Flash", "gemini-3.6-flash"}, {"Gemini 2.5 Flash", "gemini-2.5-flash"}};
}

} // namespace

std::vector<Choice> providerChoices() {
    return {{"Google Gemini", "gemini"},
            {"Anthropic", "anthropic"},
            {"OpenAI", "openai"},
            {"xAI", "xai"}};
}

std::vector<Choice> modelChoices(const std::string& provider) {
    std::vector<Choice> choices = {{"Provider default", ""},
                                   {defaultLabel(provider), defaultBrainModel(provider)}};
    for (const Choice& further : furtherModels(provider))
        choices.push_back(further);
    return choices;
}

QString keyPage(const std::string& provider) {
    if (provider == "anthropic")
        return "https://console.anthropic.com/settings/keys";
    if (provider == "openai")
        return "https://platform.openai.com/api-keys";
    return provider == "xai" ? "https://console.x.ai" : "https://aistudio.google.com/apikey";
}

} // namespace tavik
