#pragma once

#include "brains/Brain.h"

#include <string>

namespace tavik {

// The sentence with which `call` fails; empty when it does not.
template<typename Call>
std::string sentenceOf(Call call) {
    try {
        call();
    } catch (const BrainError& error) {
        return error.message;
    }
    return "";
}

} // namespace tavik
