#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tavik::demo {

struct Options {
    std::string say = "what are the opening hours of the library"; // after the wake phrase
    std::string recording; // of a whole utterance, instead of `say`; empty for none
    std::string speaker = "flite:slt";
    std::string provider = "anthropic";
    bool isLive = false; // the provider itself answers instead of a scripted model
    std::string keep;    // folder for log, audit and recordings; empty for none
    std::string tavik;   // the program to demonstrate
};

// Nothing when help was asked for and printed. Throws Failure (usage) with a sentence.
std::optional<Options> parseOptions(int argc, const char* const* argv);

// The environment variable that holds the provider's key, "ANTHROPIC_API_KEY".
std::string keyVariable(const std::string& provider);

} // namespace tavik::demo
