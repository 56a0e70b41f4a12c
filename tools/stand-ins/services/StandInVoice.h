#pragma once

#include <string>

namespace tavik {

// Writes `text`, spoken by `voice`, as a WAV file. A voice is a synthesiser and one of its voices,
// such as "espeak-ng:en-us+f3" or "flite:slt". Throws std::runtime_error when it cannot be had.
void synthesizeSpeech(const std::string& text, const std::string& voice,
                      const std::string& wavPath);

} // namespace tavik
