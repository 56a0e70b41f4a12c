#pragma once

#include <span>
#include <stop_token>
#include <string_view>

namespace tavik {

class Transcriber;

// Whether a transcript of the last seconds confirms the wake phrase: at most four words, one of
// them the wake word or a usual mis-transcription of it. Running speech that holds the word is
// refused.
bool confirmsWakePhrase(std::string_view transcript);

// The second stage of hearing the wake phrase: transcribes `window` (at the transcriber's rate) and
// judges the text. A failing transcriber confirms nothing. Blocks for the recognition; throws
// Cancelled.
bool verifyWakePhrase(Transcriber& transcriber, std::span<const float> window,
                      std::stop_token stop);

} // namespace tavik
