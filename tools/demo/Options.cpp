#include "tools/demo/Options.h"

#include "tools/demo/Failure.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <unistd.h>

namespace tavik::demo {

namespace {

constexpr const char* description = "Holds one spoken conversation with the real tavik, without a "
                                    "microphone, a display, a key or a\n"
                                    "network, checks every step and prints how long each one took.";

std::string programBesideThisOne() {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "tavik").string();
}

constexpr const char* exitStatuses =
    "Exit status: 0 all good, 2 wrong options, 3 nothing woke, 4 the services did not start,\n"
    "5 tavik did not get ready or died, 6 the command was not understood, 7 no answer came,\n"
    "8 nothing was spoken, 9 other words than the answer were spoken, 10 tavik did not end\n"
    "cleanly, 130 interrupted.";

void declare(CLI::App& app, Options& options) {
    app.footer(exitStatuses);
    auto* say = app.add_option("--say", options.say, "what is asked after \"Hey Vessa\"");
    app.add_option("--wav", options.recording,
                   "a recording of the whole utterance, \"Hey Vessa\" included")
        ->check(CLI::ExistingFile)
        ->excludes(say);
    app.add_option("--speaker", options.speaker, "the voice that asks, such as espeak-ng:en-us+f3")
        ->capture_default_str();
    app.add_option("--provider", options.provider, "whose dialect the model speaks")
        ->check(CLI::IsMember({"anthropic", "openai", "gemini", "xai"}))
        ->capture_default_str();
    app.add_flag("--live", options.isLive,
                 "ask the provider itself, with the key in its environment variable");
    app.add_option("--keep", options.keep, "leave log, audit and recordings in this folder");
    app.add_option("--tavik", options.tavik, "the program to demonstrate");
}

void makeFolder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error || access(path.c_str(), W_OK) != 0)
        throw Failure(ExitStatus::usage, "Nothing can be kept in \"" + path + "\".");
}

void requireSense(const Options& options) {
    if (std::none_of(options.say.begin(), options.say.end(),
                     [](unsigned char byte) { return std::isalnum(byte); }))
        throw Failure(ExitStatus::usage, "--say needs words to be spoken.");
    if (access(options.tavik.c_str(), X_OK) != 0)
        throw Failure(ExitStatus::usage,
                      "\"" + options.tavik +
                          "\" is no program. Build it, or name one with --tavik.");
    if (!options.keep.empty())
        makeFolder(options.keep);
    const std::string variable = keyVariable(options.provider);
    if (options.isLive && !std::getenv(variable.c_str()))
        throw Failure(ExitStatus::usage, "--live needs a key in " + variable + ".");
}

} // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv) {
    Options options;
    options.tavik = programBesideThisOne();
    CLI::App app(description, "demo");
    declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::fputs(app.help().c_str(), stdout);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw Failure(ExitStatus::usage, std::string(error.what()) + ". --help lists the options.");
    }
    options.tavik = std::filesystem::absolute(options.tavik).string();
    requireSense(options);
    return options;
}

std::string keyVariable(const std::string& provider) {
    std::string variable = provider;
    std::transform(variable.begin(), variable.end(), variable.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return variable + "_API_KEY";
}

} // namespace tavik::demo
