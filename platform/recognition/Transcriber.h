#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <stdexcept>
#include <stop_token>
#include <string>

namespace tavik {

// Recognition failed, or cannot be had. `what()` is a clear phrase.
class TranscriberError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One utterance on its way to text. Decoding goes on in the background while samples arrive.
// Destruction abandons it.
class Utterance {
public:
    virtual ~Utterance() = default;

    // Mono samples in [-1, 1] at the transcriber's rate. Copies them and returns at once; meant for
    // the audio thread.
    virtual void feed(std::span<const float> samples) = 0;

    // Ends the input and blocks for the text, in lower case and without punctuation; empty when
    // nothing was understood. Call it once. Throws TranscriberError, or Cancelled within 50 ms of a
    // stop request.
    virtual std::string finish(std::stop_token stop) = 0;
};

// Speech to text on this machine. Safe from any thread; each Utterance belongs to one thread for
// `finish` and one for `feed`.
class Transcriber {
public:
    virtual ~Transcriber() = default;

    virtual std::uint32_t sampleRate() const = 0;

    // Begins an utterance; one at a time: a second one waits for the first to be gone. Throws
    // Cancelled within 50 ms of a stop request.
    virtual std::unique_ptr<Utterance> begin(std::stop_token stop) = 0;
};

// What the text is going to be: a spoken command, or the few words around the wake phrase, of which
// the last 2.5 s are heard.
enum class Vocabulary { commands, wakePhrase };

// The wake word and its usual mis-transcriptions, as a text spells them.
const std::set<std::string>& wakeWords();

// The embedded recogniser (US English). Loads its models, which takes up to a second or two. Throws
// TranscriberError when they are missing or broken.
std::unique_ptr<Transcriber> openEmbeddedTranscriber(Vocabulary vocabulary);

} // namespace tavik
