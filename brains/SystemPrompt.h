#pragma once

#include <string>
#include <string_view>

namespace tavik {

// What every model is told about its role, written for answers that are read aloud. `verbosity`:
// "detailed", "normal", or anything else for concise answers.
std::string systemPrompt(std::string_view verbosity);

} // namespace tavik
