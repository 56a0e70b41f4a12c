#include "tools/demo/StandInUser.h"

#include "platform/files/AtomicFile.h"
#include "platform/text/Text.h"
#include "tools/demo/Failure.h"
#include "tools/demo/PrivateHome.h"
#include "tools/stand-ins/services/ChildProcess.h"
#include "tools/stand-ins/services/StandInVoice.h"

#include <algorithm>
#include <fmt/format.h>

namespace tavik::demo {

namespace {

constexpr const char* wakePhrase = "Hey Vessa";
constexpr double pauseAfterPhrase = 0.7; // seconds
constexpr double softEdge = 0.05;        // kept around the loud part, since words fade in and out
constexpr double quietAround = 0.3;
constexpr double noticeablePause = 0.25; // in a recording

std::string printedBy(const std::vector<std::string>& command, const PrivateHome& home) {
    const std::string path = home.file("printed");
    ChildProcess program(
        {.arguments = command, .environment = {}, .outputPath = path, .input = ""});
    program.waitFor(std::chrono::seconds(10));
    return readWholeFile(path, 1 << 20).value_or("");
}

// flite speaks with another voice, and espeak-ng without the variant, when it does not know the
// name.
void requireVoice(const std::string& speaker, const PrivateHome& home) {
    const std::string name = speaker.substr(speaker.find(':') + 1);
    const std::size_t plus = name.find('+');
    bool isKnown = true;
    if (speaker.starts_with("flite:")) {
        const auto voices = splitDroppingEmpty(trimmed(printedBy({"flite", "-lv"}, home)), ' ');
        isKnown = std::find(voices.begin(), voices.end(), name) != voices.end();
    } else if (speaker.starts_with("espeak-ng:") && plus != std::string::npos) {
        const std::string variants = printedBy({"espeak-ng", "--voices=variant"}, home);
        isKnown = variants.find("!v/" + name.substr(plus + 1)) != std::string::npos;
    }
    if (!isKnown)
        throw std::runtime_error(fmt::format("There is no voice \"{}\". Voices are, for example, "
                                             "espeak-ng:en-us, espeak-ng:en-us+f3 and flite:slt.",
                                             speaker));
}

Sound spoken(const std::string& text, const std::string& speaker, const PrivateHome& home) {
    const std::string path = home.file("spoken.wav");
    synthesizeSpeech(text, speaker, path);
    return readSound(path);
}

// The loud part of `sound` with its soft edges; the part says where the loud samples lie in it.
std::pair<Sound, Part> trimmedToSpeech(const Sound& sound) {
    const auto loud = loudPart(sound.samples, sound.rate);
    if (!loud)
        throw std::runtime_error("The voice says nothing.");
    const auto edge = static_cast<std::size_t>(softEdge * sound.rate);
    const std::size_t begin = loud->begin - std::min(edge, loud->begin);
    const std::size_t end = std::min(sound.samples.size(), loud->end + edge);
    const auto first = sound.samples.begin();
    return {
        {sound.rate,
         {first + static_cast<std::ptrdiff_t>(begin), first + static_cast<std::ptrdiff_t>(end)}},
        {loud->begin - begin, loud->end - begin}};
}

Utterance spokenUtterance(const Options& options, const PrivateHome& home) {
    requireVoice(options.speaker, home);
    const auto [phrase, phraseLoud] = trimmedToSpeech(spoken(wakePhrase, options.speaker, home));
    const auto [command, commandLoud] =
        trimmedToSpeech(resampled(spoken(options.say, options.speaker, home), phrase.rate));

    Utterance utterance;
    utterance.description = fmt::format("\"{}\", {:.1f} s of silence, \"{}\", spoken by {}",
                                        wakePhrase, pauseAfterPhrase, options.say, options.speaker);
    utterance.command = options.say;
    utterance.sound.rate = phrase.rate;
    auto& samples = utterance.sound.samples;
    const auto length = [rate = utterance.sound.rate](double seconds) {
        return static_cast<std::size_t>(seconds * rate);
    };
    samples.resize(length(quietAround));
    samples.insert(samples.end(), phrase.samples.begin(), phrase.samples.end());
    samples.resize(samples.size() - (phrase.samples.size() - phraseLoud.end) +
                   length(pauseAfterPhrase) - commandLoud.begin);
    samples.insert(samples.end(), command.samples.begin(), command.samples.end());
    samples.resize(samples.size() + length(quietAround));

    utterance.phraseEnd = static_cast<double>(phraseLoud.end - phraseLoud.begin) / phrase.rate;
    utterance.commandBegin = *utterance.phraseEnd + pauseAfterPhrase;
    return utterance;
}

// Whoever made the recording paused after the phrase, if at all.
Utterance recordedUtterance(const std::string& path) {
    Utterance utterance{.sound = readSound(path), .description = "the recording " + path};
    const auto loud = loudPart(utterance.sound.samples, utterance.sound.rate);
    if (const auto pause = firstPause(utterance.sound, noticeablePause))
        utterance.phraseEnd = static_cast<double>(*pause - loud->begin) / utterance.sound.rate;
    return utterance;
}

} // namespace

Utterance prepareUtterance(const Options& options, const PrivateHome& home) {
    try {
        return options.recording.empty() ? spokenUtterance(options, home)
                                         : recordedUtterance(options.recording);
    } catch (const std::runtime_error& error) {
        throw Failure(ExitStatus::usage, error.what());
    }
}

} // namespace tavik::demo
