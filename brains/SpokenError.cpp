#include "brains/SpokenError.h"

#include "platform/text/Text.h"

namespace tavik {

namespace {

constexpr std::size_t spokenDetailCharacters = 120;

} // namespace

std::string spokenError(std::string_view provider, int status, std::string_view detail) {
    const std::string name = capitalized(provider);
    if (status == 401 || status == 403)
        return name + " rejected the API key. Please check it in Tavik's settings.";
    if (status == 429)
        return name + " says we've hit the rate limit. Give it a minute and try again.";
    if (status >= 500 && status <= 599)
        return name + " is overloaded right now. That's on their side — try again in a moment.";
    if (status == 404)
        return name + " doesn't know this model. Check the model name in Tavik's settings.";
    return name + " returned an error: " + boundedCharacters(detail, spokenDetailCharacters) + ".";
}

} // namespace tavik
