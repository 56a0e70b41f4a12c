#include "brains/BrainCatalogue.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <array>
#include <span>

namespace tavik {

namespace {

using Options = std::vector<BrainEffortOption>;

const std::array<BrainProvider, 4>& providers() {
    static const std::array<BrainProvider, 4> table{{
        {"anthropic", "ANTHROPIC_API_KEY", "anthropicHost", "https://api.anthropic.com",
         "/v1/messages", "/v1/models/", "claude-haiku-4-5-20251001"},
        {"openai", "OPENAI_API_KEY", "openaiHost", "https://api.openai.com", "/v1/chat/completions",
         "/v1/models/", "gpt-4o-mini"},
        {"xai", "XAI_API_KEY", "xaiHost", "https://api.x.ai", "/v1/chat/completions", "/v1/models/",
         "grok-2-latest"},
        {"gemini", "GEMINI_API_KEY", "geminiHost", "https://generativelanguage.googleapis.com",
         "/v1beta/openai/chat/completions", "/v1beta/models/", "gemini-3.5-flash-lite"},
    }};
    return table;
}

const BrainEffortOption automatic{"", "Automatic (model default)"};
const BrainEffortOption low{"low", "Low — fast"};
const BrainEffortOption medium{"medium", "Medium — balanced"};
const BrainEffortOption high{"high", "High — thorough"};
const BrainEffortOption extraHigh{"xhigh", "Extra high"};
const BrainEffortOption maximum{"max", "Maximum"};

const Options standard{automatic, low, medium, high};

Options fullOptions() {
    return {automatic, {"none", "None — fastest"}, low, medium, high, extraHigh, maximum};
}

Options extraHighOptions() {
    return {automatic, low, medium, high, extraHigh};
}

Options canBeOffOptions() {
    return {automatic, {"none", "Off — fastest"}, low, medium, high};
}

Options minimalOptions() {
    return {automatic, {"minimal", "Minimal — fastest"}, low, medium, high};
}

bool containsAny(std::string_view model, std::span<const std::string_view> names) {
    return std::any_of(names.begin(), names.end(), [&](std::string_view name) {
        return model.find(name) != std::string_view::npos;
    });
}

bool startsWithAny(std::string_view model, std::span<const std::string_view> beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&](std::string_view beginning) { return model.starts_with(beginning); });
}

Options openAIOptions(std::string_view model) {
    return model.starts_with("gpt-5.6") ? fullOptions() : Options{};
}

Options xaiOptions(std::string_view model) {
    if (model.starts_with("grok-4.20-multi-agent"))
        return extraHighOptions();
    return model.starts_with("grok-4.5") ? standard : Options{};
}

Options anthropicOptions(std::string_view model) {
    constexpr std::array<std::string_view, 9> withEffort{
        "claude-fable-5",  "claude-mythos-5",   "claude-opus-5",
        "claude-sonnet-5", "claude-opus-4-8",   "claude-opus-4-7",
        "claude-opus-4-6", "claude-sonnet-4-6", "claude-opus-4-5"};
    if (!containsAny(model, withEffort))
        return {};
    Options options = standard;
    if (containsAny(model, std::span(withEffort).first(6)))
        options.push_back(extraHigh);
    if (!containsAny(model, std::span(withEffort).last(1)))
        options.push_back(maximum);
    return options;
}

Options geminiOptions(std::string_view model) {
    constexpr std::array<std::string_view, 5> withMinimal{
        "gemini-3-flash", "gemini-3.1-flash-lite", "gemini-3.5-flash", "gemini-3.5-flash-lite",
        "gemini-3.6-flash"};
    if (startsWithAny(model, withMinimal))
        return minimalOptions();
    if (model.starts_with("gemini-3."))
        return standard;
    return model.starts_with("gemini-2.5-") ? canBeOffOptions() : Options{};
}

} // namespace

const BrainProvider& brainProvider(std::string_view word) {
    const auto found = std::find_if(providers().begin(), providers().end(),
                                    [&](const auto& provider) { return provider.word == word; });
    return found == providers().end() ? providers().back() : *found;
}

std::string defaultBrainModel(std::string_view provider) {
    return brainProvider(provider).defaultModel;
}

std::vector<BrainEffortOption> brainEffortOptions(std::string_view provider,
                                                  std::string_view model) {
    const std::string& word = brainProvider(provider).word;
    const std::string name = lowercased(model);
    if (word == "openai")
        return openAIOptions(name);
    if (word == "xai")
        return xaiOptions(name);
    return word == "anthropic" ? anthropicOptions(name) : geminiOptions(name);
}

std::optional<std::string> supportedBrainEffort(std::string_view provider, std::string_view model,
                                                std::string_view stored) {
    const auto options = brainEffortOptions(provider, model);
    const bool isOffered = std::any_of(options.begin(), options.end(),
                                       [&](const auto& option) { return option.id == stored; });
    if (stored.empty() || !isOffered)
        return std::nullopt;
    return std::string(stored);
}

} // namespace tavik
