#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What is known about the providers and their models. A provider word other than "anthropic",
// "openai" and "xai" stands for "gemini" everywhere.
namespace tavik {

// A provider as the clients need it.
struct BrainProvider {
    std::string word;           // "gemini"
    std::string keyEnvironment; // the variable that may hold its key
    std::string hostSetting;    // the setting that may name another host
    std::string publicHost;     // such as "https://api.openai.com"
    std::string chatPath;
    std::string modelsPath; // followed by a model's name: its description
    std::string defaultModel;
};

const BrainProvider& brainProvider(std::string_view word);

std::string defaultBrainModel(std::string_view provider);

// A level of effort that a model can be asked for.
struct BrainEffortOption {
    std::string id; // what is stored and sent; empty: the model decides
    std::string label;

    bool operator==(const BrainEffortOption&) const = default;
};

// The choices for that model, the automatic one first; none when it has no effort control.
std::vector<BrainEffortOption> brainEffortOptions(std::string_view provider,
                                                  std::string_view model);

// `stored` when the model has that level; nothing for the automatic one.
std::optional<std::string> supportedBrainEffort(std::string_view provider, std::string_view model,
                                                std::string_view stored);

} // namespace tavik
