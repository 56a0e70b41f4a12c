#pragma once

#include <string>
#include <string_view>

namespace tavik {

// The sentence to be spoken when `provider` ("openai") answered with an HTTP status that is no
// success (0: it was no HTTP answer). `detail` is the provider's own explanation; only its
// beginning is spoken, and only where no better sentence is known.
std::string spokenError(std::string_view provider, int status, std::string_view detail);

} // namespace tavik
