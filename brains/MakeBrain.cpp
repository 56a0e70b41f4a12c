#include "brains/MakeBrain.h"

#include "brains/AnthropicBrain.h"
#include "brains/BrainCatalogue.h"
#include "brains/BrainHost.h"
#include "brains/BrainKey.h"
#include "brains/OpenAICompatibleBrain.h"
#include "brains/SystemPrompt.h"
#include "platform/text/Text.h"

namespace tavik {

namespace {

std::string chosenModel(UserDefaults& defaults, const BrainProvider& provider) {
    std::string model = trimmed(defaults.string("brainModel").value_or(""));
    return model.empty() ? provider.defaultModel : model;
}

const BrainProvider& chosenProvider(UserDefaults& defaults) {
    return brainProvider(defaults.string("provider").value_or("gemini"));
}

} // namespace

std::unique_ptr<Brain> makeBrain(UserDefaults& defaults, HttpSession& session, Clock& clock,
                                 std::stop_token stop) {
    const BrainProvider& provider = chosenProvider(defaults);
    const auto key = brainKey(provider.word, provider.keyEnvironment, std::move(stop));
    if (!key)
        return nullptr;
    const std::string model = chosenModel(defaults, provider);
    const auto effort =
        supportedBrainEffort(provider.word, model, defaults.string("brainEffort").value_or("low"));
    const std::string system = systemPrompt(defaults.string("verbosity").value_or("concise"));
    const std::string host = brainHost(defaults, provider);
    const std::string endpoint = host + provider.chatPath;
    if (provider.word == "anthropic")
        return std::make_unique<AnthropicBrain>(
            AnthropicBrain::Settings{*key, model, system, effort, endpoint}, session, clock);
    return std::make_unique<OpenAICompatibleBrain>(
        OpenAICompatibleBrain::Settings{*key, model, endpoint, provider.word, system, effort, host},
        session, clock);
}

std::unique_ptr<Brain> makeBrain(std::stop_token stop) {
    return makeBrain(UserDefaults::standard(), sharedHttpSession(), systemClock(), std::move(stop));
}

void prepareBrain(UserDefaults& defaults, HttpSession& session, std::stop_token stop) {
    const BrainProvider& provider = chosenProvider(defaults);
    if (brainKey(provider.word, provider.keyEnvironment, std::move(stop)))
        session.prepareConnection(brainHost(defaults, provider));
}

void prepareBrain(std::stop_token stop) {
    prepareBrain(UserDefaults::standard(), sharedHttpSession(), std::move(stop));
}

} // namespace tavik
