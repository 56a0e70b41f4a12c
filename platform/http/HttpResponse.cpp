#include "platform/http/HttpSession.h"

#include <strings.h>

namespace tavik {

std::optional<std::string> HttpResponse::header(std::string_view name) const {
    const std::string wanted(name);
    for (const auto& [candidate, value] : headers)
        if (strcasecmp(candidate.c_str(), wanted.c_str()) == 0)
            return value;
    return std::nullopt;
}

} // namespace tavik
