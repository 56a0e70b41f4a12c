#pragma once

#include "brains/BrainCatalogue.h"
#include "platform/defaults/UserDefaults.h"

#include <string>

namespace tavik {

// The address before the provider's paths, without a slash at its end: the one in the provider's
// setting when a key may be sent there (https, or http to this machine itself), else the public
// one.
std::string brainHost(UserDefaults& defaults, const BrainProvider& provider);

} // namespace tavik
