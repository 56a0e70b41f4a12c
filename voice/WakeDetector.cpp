#include "voice/WakeDetector.h"

#include "app/Log.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/inference/AudioNetwork.h"
#include "voice/SampleRing.h"
#include "voice/VoiceServices.h"
#include "voice/VoiceTuning.h"

#include <algorithm>
#include <cmath>

namespace tavik {

namespace {

constexpr std::size_t phraseClass = 1; // class 0 is everything else

std::unique_ptr<AudioNetwork> loadOrLog(const VoiceServices& services) {
    try {
        return services.loadWakeModel();
    } catch (const ModelError& error) {
        log(std::string("[wake] ⚠ ") + error.what());
        return nullptr;
    }
}

} // namespace

double wakeThreshold(UserDefaults& defaults) {
    const double stored = defaults.number("wakeThreshold").value_or(0.6);
    return std::clamp(stored, 0.3, 0.95);
}

WakeDetector::WakeDetector(const VoiceServices& services)
    : defaults(services.defaults)
    , model(loadOrLog(services)) {}

WakeDetector::~WakeDetector() = default;

double WakeDetector::wakeProb(std::span<const float> window) {
    const std::lock_guard lock(mutex);
    if (!model)
        return 0;
    try {
        const double probability = model->run(window)[phraseClass];
        return std::isfinite(probability) ? probability : 0;
    } catch (const ModelError&) {
        return 0;
    }
}

bool WakeDetector::isCandidate(std::span<const float> window) {
    // Asked this way round, samples that are no numbers never reach the model.
    if (!(rootMeanSquare(window) >= tuning::ENERGY_GATE))
        return false;
    return wakeProb(window) >= wakeThreshold(defaults);
}

} // namespace tavik
