#pragma once

#include "tools/demo/Failure.h"
#include "tools/demo/Findings.h"
#include "tools/demo/Options.h"
#include "tools/demo/PrivateHome.h"

#include <optional>
#include <stop_token>
#include <string>

namespace tavik::demo {

class Program;
class Stage;

// One conversation with tavik, from the wake phrase to the end of the program, judged and reported.
class Demonstration {
public:
    Demonstration(const Options& options, const PrivateHome& home, std::stop_token stop);

    // Prints what goes on. Throws Failure when it could not even begin, and Cancelled.
    ExitStatus run();

private:
    std::optional<Failure> holdConversation(Stage& stage);
    void converse(Stage& stage, Program& program);
    void end(Program& program);
    void judgeHearing();
    void judgeSpeech();
    std::string heardAloud(const Part& part) const;
    void keepFiles() const;

    const Options& options;
    const PrivateHome& home;
    std::stop_token stop;
    Findings findings;
    bool isMisheard = false;
    std::optional<Failure> uncleanEnd;
};

} // namespace tavik::demo
