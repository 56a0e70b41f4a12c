#include "agent/ReadablePage.h"

#include "agent/PageDecoding.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Pattern.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <utility>

namespace tavik {

namespace {

constexpr std::size_t maximumPageBytes = 8 * 1024 * 1024;
constexpr std::size_t maximumCharacters = 8000;
constexpr std::size_t pieceBytes = 256 * 1024;

constexpr std::pair<std::string_view, std::string_view> entities[] = {
    {"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&nbsp;", " "},
};

const Pattern& script() {
    static const Pattern pattern =
        *Pattern::compile(R"(<script[\s\S]*?</script>)", Pattern::Case::insensitive);
    return pattern;
}

const Pattern& style() {
    static const Pattern pattern =
        *Pattern::compile(R"(<style[\s\S]*?</style>)", Pattern::Case::insensitive);
    return pattern;
}

const Pattern& tag() {
    static const Pattern pattern = *Pattern::compile("<[^>]+>", Pattern::Case::insensitive);
    return pattern;
}

// White space of every script, which \s alone does not cover.
const Pattern& whiteSpace() {
    static const Pattern pattern =
        *Pattern::compile(R"([\t-\r\x{85}\p{Z}]+)", Pattern::Case::sensitive);
    return pattern;
}

std::string replaceEvery(const std::string& text, std::string_view from, std::string_view to) {
    std::string result;
    std::size_t begin = 0;
    for (std::size_t found; (found = text.find(from, begin)) != std::string::npos;
         begin = found + from.size()) {
        result.append(text, begin, found - begin);
        result.append(to);
    }
    return result.append(text, begin, std::string::npos);
}

HttpRequest pageRequest(const std::string& url) {
    HttpRequest request;
    request.url = url;
    request.headers = {{"User-Agent", "Mozilla/5.0 (Macintosh) Tavik/1.0"}};
    request.timeout = std::chrono::seconds(20);
    request.maximumRedirects = 5;
    request.maximumResponseBytes = maximumPageBytes;
    return request;
}

bool isBehindTag(const std::string& text, std::size_t position) {
    return text[position - 1] == '>';
}

bool isAtVisibleLetter(const std::string& text, std::size_t position) {
    return text[position] > ' ' && text[position] <= '~';
}

// Replaces in pieces, so that a stop is seen in time. `isBoundary` tells where no match can begin
// before and end behind.
template<typename IsBoundary>
std::string replaceInPieces(const std::string& text, const Pattern& pattern, IsBoundary isBoundary,
                            const std::stop_token& stop) {
    std::string result;
    for (std::size_t begin = 0; begin < text.size();) {
        throwIfStopped(stop);
        std::size_t end = std::min(begin + pieceBytes, text.size());
        while (end < text.size() && !isBoundary(text, end))
            ++end;
        result += pattern.replaceAll(text.substr(begin, end - begin), " ");
        begin = end;
    }
    return result;
}

std::string withoutMarkup(std::string text, const std::stop_token& stop) {
    for (const Pattern* pattern : {&script(), &style()}) {
        throwIfStopped(stop);
        text = pattern->replaceAll(text, " ");
    }
    text = replaceInPieces(text, tag(), isBehindTag, stop);
    for (const auto& [entity, character] : entities)
        text = replaceEvery(text, entity, character);
    return trimmed(replaceInPieces(text, whiteSpace(), isAtVisibleLetter, stop));
}

std::string readableText(const HttpResponse& response, const std::stop_token& stop) {
    const auto decoded = decodedPage(response.body, response.header("Content-Type").value_or(""));
    if (!decoded)
        return "The page isn't readable text.";
    const std::string text = withoutMarkup(*decoded, stop);
    if (text.empty())
        return "The page had no readable text.";
    return boundedCharacters(text, maximumCharacters);
}

} // namespace

std::string fetchReadable(const std::string& url, HttpSession& session, std::stop_token stop) {
    try {
        const HttpResponse response = session.send(pageRequest(url), stop);
        if (response.status < 200 || response.status > 299)
            return fmt::format("The page returned HTTP {}", response.status);
        return readableText(response, stop);
    } catch (const TransportError& error) {
        return std::string("Couldn't fetch the page: ") + error.what();
    }
}

} // namespace tavik
