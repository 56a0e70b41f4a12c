#pragma once

#include <memory>
#include <mutex>
#include <span>

namespace tavik {

class AudioNetwork;
class UserDefaults;
struct VoiceServices;

// How alike a window must be to the wake phrase: the setting "wakeThreshold", 0.6 when it is
// missing or no number, kept within 0.3 to 0.95. Read afresh at every call.
double wakeThreshold(UserDefaults& defaults);

// The first stage of hearing the wake phrase: a small neural network over the last 1.5 s.
class WakeDetector {
public:
    // Loads the model; without one (`isAvailable` tells, the log says why) nothing ever wakes.
    explicit WakeDetector(const VoiceServices& services);
    ~WakeDetector();
    WakeDetector(const WakeDetector&) = delete;
    WakeDetector& operator=(const WakeDetector&) = delete;

    bool isAvailable() const { return model != nullptr; }

    // The probability, 0 to 1, that `window` (16 kHz mono) holds the wake phrase; 0 when there is
    // no model or the prediction failed. Safe from any thread.
    double wakeProb(std::span<const float> window);

    // Whether `window` is loud enough to look at and its probability reaches the threshold.
    bool isCandidate(std::span<const float> window);

private:
    UserDefaults& defaults;
    std::mutex mutex;
    std::unique_ptr<AudioNetwork> model; // one prediction at a time, under the mutex
};

} // namespace tavik
