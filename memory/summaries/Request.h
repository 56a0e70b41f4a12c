#pragma once

#include <string>
#include <string_view>

namespace tavik {

// The sentence of a user's utterance that tells what was wanted, and how it can be reported.
struct Request {
    enum class Kind {
        command,       // goes on after "asked Tavik to"
        quotedCommand, // the same, but with an "I" or a "you" that only quotes keep right
        question,
        statement, // anything else, such as every language that is not understood here
    };

    Kind kind = Kind::statement;
    std::string text;
};

// `utterance` is a single line. What is reported are words of its own, though a command loses what
// stands before its verb ("could you please").
Request requestIn(const std::string& utterance);

bool endsAsQuestion(std::string_view text);

} // namespace tavik
