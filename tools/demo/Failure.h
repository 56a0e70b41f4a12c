#pragma once

#include <stdexcept>
#include <string>

namespace tavik::demo {

// How the program ends. 0 is a conversation that went well from the first word to the last.
enum class ExitStatus {
    good = 0,
    usage = 2,
    nothingWoke = 3,
    noServices = 4,      // the private sound or speech service did not start
    notReady = 5,        // tavik did not get ready, or died
    emptyTranscript = 6, // the command was not understood at all
    noAnswer = 7,
    nothingSpoken = 8,
    wrongWords = 9, // what was spoken is not the answer
    uncleanEnd = 10,
    interrupted = 130,
};

// The stage at which the demonstration ended. `what()` is a sentence for people.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus exitStatus, const std::string& sentence)
        : std::runtime_error(sentence)
        , status(exitStatus) {}

    ExitStatus status;
};

} // namespace tavik::demo
