#pragma once

#include <string_view>

namespace tavik {

// Whole-utterance matches of what ends a conversation or stops the listening, without asking a
// model. Case, the marks . ! ? , around words, and fillers such as "please" at both ends do not
// count; a part of an utterance never matches: "stop the music" is no stop phrase.
bool isStopPhrase(std::string_view utterance);
bool isPausePhrase(std::string_view utterance);

} // namespace tavik
