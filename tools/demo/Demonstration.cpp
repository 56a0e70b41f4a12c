#include "tools/demo/Demonstration.h"

#include "app/Paths.h"
#include "platform/concurrency/Clock.h"
#include "platform/recognition/Transcriber.h"
#include "tools/demo/ConversationWatch.h"
#include "tools/demo/Program.h"
#include "tools/demo/Report.h"
#include "tools/demo/Stage.h"
#include "tools/demo/Verdict.h"

#include <filesystem>
#include <fmt/core.h>

namespace tavik::demo {

namespace {

using std::chrono::system_clock;

constexpr double silenceAround = 0.3; // seconds, for the second recogniser

template<typename... Arguments>
void tell(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    fmt::print(format, std::forward<Arguments>(arguments)...);
    std::fflush(stdout);
}

void tellWhoAnswers(const Options& options) {
    if (options.isLive)
        return tell("The model is the real one of {}.\n", options.provider);
    tell("The model is scripted: a server on this machine that speaks the dialect of {} and "
         "answers by\nfixed rules from what it really receives. To ask a real one: {}=... ./dev "
         "demo --live --provider {}\n",
         options.provider, keyVariable(options.provider), options.provider);
}

} // namespace

Demonstration::Demonstration(const Options& theOptions, const PrivateHome& privateHome,
                             std::stop_token stopToken)
    : options(theOptions)
    , home(privateHome)
    , stop(std::move(stopToken)) {}

ExitStatus Demonstration::run() {
    tellWhoAnswers(options);
    findings.utterance = prepareUtterance(options, home);
    Stage stage(options, home);
    auto failure = holdConversation(stage);
    findings.microphone = stage.heardByMicrophone();
    findings.speaker = stage.saidAloud();
    findings.exchanges = stage.exchanges();
    tell("\n{}\n", timelineOf(findings));
    keepFiles();
    try {
        if (failure)
            throw *failure;
        judgeHearing();
        judgeSpeech();
        if (uncleanEnd)
            throw *uncleanEnd;
    } catch (const Failure& reason) {
        tell("Failed: {}\n", reason.what());
        return reason.status;
    }
    tell("{}\n",
         isMisheard ? "It went through to the end, though the command was misheard." : "All good.");
    return ExitStatus::good;
}

std::optional<Failure> Demonstration::holdConversation(Stage& stage) {
    Program program(options.tavik, home.file("tavik.output"));
    std::optional<Failure> failure;
    try {
        converse(stage, program);
        end(program);
    } catch (const Failure& reason) {
        failure = reason;
    }
    findings.log = program.lines();
    if (const auto reason = stage.brokenRecording(); reason && !failure)
        return Failure(ExitStatus::noServices, "The recording broke off: " + *reason + ".");
    return failure;
}

// What was spoken is judged first: it came first.
void Demonstration::end(Program& program) {
    try {
        program.end();
        findings.ended = program.ended;
    } catch (const Failure& reason) {
        uncleanEnd = reason;
    }
    findings.askedToEnd = program.askedToEnd;
}

void Demonstration::converse(Stage& stage, Program& program) {
    ConversationWatch watch(program, stop);
    tell("Starting {}\n", options.tavik);
    watch.awaitReady();
    tell("Saying {}\n", findings.utterance.description);
    stage.playToMicrophone(findings.utterance.sound, stop);
    watch.awaitCommand();
    tell("It woke and heard a command.\n");
    watch.awaitAnswer(options.isLive ? ConversationWatch::Model::live
                                     : ConversationWatch::Model::scripted);
    findings.answered = watch.answered;
    tell("It has an answer and speaks.\n");
    watch.awaitSpoken();
    tell("It has spoken.\n");
    if (watch.awaitWaiting())
        findings.waitingAgain = system_clock::now();
}

// Only the scripted model can tell what reached it.
void Demonstration::judgeHearing() {
    if (findings.exchanges.empty())
        return;
    const std::string& understood = findings.exchanges.front().command;
    tell("Tavik understood:   {}\n", understood);
    tell("The model answered: {}\n", findings.answer());
    if (findings.utterance.command.empty())
        return;
    const double share = sharedWords(findings.utterance.command, understood);
    tell("Of the command's words {:.0f} % were understood in their order.\n", share * 100);
    isMisheard = share < Verdict::threshold;
}

void Demonstration::judgeSpeech() {
    const auto part = findings.saidAloud();
    if (!part)
        throw Failure(ExitStatus::nothingSpoken,
                      "Nothing was spoken: the loudspeaker stayed silent.");
    const std::string heard = heardAloud(*part);
    tell("Heard aloud:        {}\n", heard);
    if (heard.empty())
        throw Failure(ExitStatus::wrongWords, "No word of what was spoken could be understood.");
    if (options.isLive)
        return;
    const Verdict verdict = compare(findings.answer(), heard);
    tell("Of the answer's words {:.0f} % were heard aloud in their order ({:.0f} % needed; an "
         "unrelated sentence has {:.0f} %).\n",
         verdict.share * 100, Verdict::threshold * 100, verdict.control * 100);
    if (!verdict.isGood())
        throw Failure(ExitStatus::wrongWords, "What was spoken is not the answer.");
}

// By a second recogniser, from what the loudspeaker gave.
std::string Demonstration::heardAloud(const Part& part) const {
    const Sound& all = findings.speaker.sound;
    const auto around = static_cast<std::size_t>(silenceAround * all.rate);
    const std::size_t begin = part.begin - std::min(around, part.begin);
    const std::size_t end = std::min(all.samples.size(), part.end + around);
    const auto first = all.samples.begin();
    const Sound said{
        all.rate,
        {first + static_cast<std::ptrdiff_t>(begin), first + static_cast<std::ptrdiff_t>(end)}};
    const auto transcriber = openEmbeddedTranscriber(Vocabulary::commands);
    const auto utterance = transcriber->begin({});
    utterance->feed(resampled(said, transcriber->sampleRate()).samples);
    return utterance->finish(stop);
}

void Demonstration::keepFiles() const {
    if (options.keep.empty())
        return;
    const std::filesystem::path folder = options.keep;
    constexpr auto overwrite = std::filesystem::copy_options::overwrite_existing;
    for (const std::string& path : {logPath(), auditPath()})
        if (std::filesystem::exists(path))
            std::filesystem::copy_file(path, folder / std::filesystem::path(path).filename(),
                                       overwrite);
    if (findings.microphone.sound.rate)
        writeSound(folder / "microphone.wav", findings.microphone.sound);
    if (findings.speaker.sound.rate)
        writeSound(folder / "speaker.wav", findings.speaker.sound);
    tell("Kept in {}: log, audit, microphone.wav, speaker.wav\n", options.keep);
}

} // namespace tavik::demo
