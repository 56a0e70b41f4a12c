#pragma once

#include "platform/http/HttpSession.h"

#include <functional>
#include <memory>

namespace tavik {

// As `makeHttpSession`, with another view of whether this machine has a way out.
std::unique_ptr<HttpSession> makeHttpSession(std::function<bool()> hasRouteOut);

} // namespace tavik
