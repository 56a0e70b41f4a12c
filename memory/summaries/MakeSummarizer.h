#pragma once

#include "memory/Summarizer.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/http/HttpSession.h"

#include <memory>

namespace tavik {

// Sums up with the model on this machine that the settings "localModelURL" and "localModel" choose,
// as they stand at each call, and with the conversation's own words when none is set, or when it
// fails for whatever reason. Fails itself only where nothing was said.
std::unique_ptr<Summarizer> makeSummarizer(UserDefaults& defaults, HttpSession& session);

// The same with the user's settings and the process-wide session.
std::unique_ptr<Summarizer> makeSummarizer();

} // namespace tavik
