#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

// The fixed numbers of the voice loop.
namespace tavik::tuning {

using std::chrono::milliseconds;
using std::chrono::seconds;

inline constexpr std::uint32_t SAMPLE_RATE = 16000;     // Hz, of the mono analysis stream
inline constexpr std::size_t WAKE_WINDOW = 24000;       // samples the wake model sees, 1.5 s
inline constexpr std::size_t STT_VERIFY_WINDOW = 40000; // samples transcribed to verify, 2.5 s
inline constexpr milliseconds HOP_SECONDS{200};         // between two looks at the wake ring
inline constexpr double ENERGY_GATE = 0.0001;           // RMS below which nothing is worth a look
inline constexpr milliseconds END_SILENCE{1200};        // silence that ends a command
inline constexpr milliseconds MAX_COMMAND{120'000};     // the longest command
inline constexpr milliseconds ONSET_TIMEOUT{6000};   // how long the first command may take to begin
inline constexpr milliseconds FOLLOWUP_WINDOW{6000}; // how long a follow-up may take to begin
inline constexpr double VOICE_FRACTION = 0.18;       // of the loudest buffer: that much is voice
inline constexpr double NOISE_FLOOR_MIN = 0.0008;    // but never less than this level
inline constexpr milliseconds WAKE_COOLDOWN{1200};   // wake detection is muted after a conversation

inline constexpr milliseconds CAPTURE_POLL{150};
inline constexpr milliseconds VERIFY_POLL{50};
inline constexpr milliseconds SPEECH_START{150};
inline constexpr milliseconds SPEECH_POLL{100};
inline constexpr milliseconds BARGE_IN_PAUSE{200};
inline constexpr milliseconds ROUTE_DEBOUNCE{1200};
inline constexpr milliseconds DEFAULT_INPUT_POLL{50};
inline constexpr milliseconds DEFAULT_INPUT_TIMEOUT{2000}; // after which no microphone is connected
// For so long a command waits for the microphone that replaces its own.
inline constexpr milliseconds DEAF_FOR{4000};
inline constexpr milliseconds WATCHDOG{5000};
inline constexpr int SILENT_RETRIES = 3;
// For so long after the loudspeaker said the wake phrase the microphone may still hear it: wireless
// loudspeakers are late.
inline constexpr milliseconds OWN_PHRASE{800};

} // namespace tavik::tuning
