#pragma once

#include "tools/stand-ins/model/ModelRule.h"

#include <string>
#include <vector>

namespace tavik {

// The page of a library that the demonstration's model is asked about, and where it is served.
extern const char* const demoPagePath;
extern const char* const demoPage;

// The demonstration's model. Asked for the library's opening hours it fetches the page at `pageUrl`
// and answers from what it reads there; it knows the time of day, small sums and a greeting, ends
// the conversation or pauses listening when asked to, and repeats what it heard otherwise. It
// matches on single words, since a speech recogniser mishears some.
std::vector<ModelRule> demoRules(std::string pageUrl);

} // namespace tavik
