#pragma once

#include <string_view>

namespace tavik {

// Whether a text is but "thank you", "stop" or the like, or has no word at all.
bool isCourtesy(std::string_view text);

// Whether a text is but a "yes" or a "no", in whatever words.
bool isConsent(std::string_view text);

} // namespace tavik
