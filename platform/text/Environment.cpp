#include "platform/text/Environment.h"

#include <cstdlib>

namespace tavik {

std::string environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

} // namespace tavik
