#include "agent/ReadablePage.h"
#include "fuzz/FixedReply.h"
#include "fuzz/Targets.h"
#include "platform/text/Text.h"

#include <cstdlib>

namespace tavik::fuzz {

namespace {

constexpr const char* contentTypes[] = {"text/html", "text/html; charset=utf-16",
                                        "text/html; charset=shift_jis", "text/plain", ""};
constexpr std::size_t longestText = 8000;

} // namespace

void readPage(std::string_view input) {
    if (input.empty())
        return;
    const auto choice = static_cast<unsigned char>(input.front());
    FixedReply session({.status = 200,
                        .headers = {{"Content-Type", contentTypes[choice % 5]}},
                        .body = std::string(input.substr(1))});
    const std::string text = fetchReadable("https://page.test/", session, {});
    check(isValidUtf8(text) && characterCount(text) <= longestText);
}

} // namespace tavik::fuzz
