#pragma once

#include "platform/http/HttpSession.h"

#include <stop_token>
#include <string>

namespace tavik {

// The text of the web page at `url`, http or https, without its markup: one line of at most 8000
// characters. A failure is a sentence in its place. Throws Cancelled only.
std::string fetchReadable(const std::string& url, HttpSession& session, std::stop_token stop);

} // namespace tavik
