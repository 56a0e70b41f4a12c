#pragma once

#include "platform/http/HttpSession.h"

#include <string>

namespace tavik {

bool isRedirect(int status);

// The request that follows the redirect `status` of `request` to `url`: as browsers do, a POST
// becomes a GET except where the status forbids it, and to another server go only headers that hold
// no secret.
HttpRequest redirectedRequest(HttpRequest request, int status, const std::string& url);

} // namespace tavik
