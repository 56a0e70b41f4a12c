#pragma once

#include "tools/demo/Options.h"
#include "tools/demo/Sound.h"

#include <optional>
#include <string>

namespace tavik::demo {

class PrivateHome;

// What the stand-in user says, with the places in it that the timeline is measured from, in seconds
// from the first loud sample on. Nothing where they cannot be known.
struct Utterance {
    Sound sound;
    std::string description;
    std::string command;             // what is asked; empty when it cannot be known
    std::optional<double> phraseEnd; // the last loud sample of "Hey Vessa"
    std::optional<double> commandBegin;
};

// From the recording that the options name, or else spoken by a synthesiser. Throws Failure (usage)
// when there is no such voice or no such sound.
Utterance prepareUtterance(const Options& options, const PrivateHome& home);

} // namespace tavik::demo
