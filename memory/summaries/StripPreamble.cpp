#include "memory/summaries/StripPreamble.h"

#include "memory/summaries/OneLine.h"
#include "platform/text/Pattern.h"
#include "platform/text/Text.h"

#include <utility>

namespace tavik {

namespace {

constexpr int mostLayers = 16;

Pattern pattern(std::string_view expression) {
    return *Pattern::compile(expression, Pattern::Case::insensitive);
}

std::string withoutThinking(std::string_view answer) {
    static const Pattern thinking = pattern(R"(^(?s:.*)</think(?:ing)?>)");
    return thinking.replaceAll(answer, "");
}

std::string withoutFenceLanguage(const std::string& text) {
    static const Pattern fence = pattern(R"(^```[a-z]+\n)");
    return fence.replaceAll(text, "```");
}

std::string withoutBullet(const std::string& text) {
    static const Pattern bullet = pattern(R"(^(?:[-*+>•–—]|#{1,6}|\d{1,2}[.)])\s+)");
    return bullet.replaceAll(text, "");
}

std::string withoutInterjection(const std::string& text) {
    static const Pattern interjection =
        pattern(R"(^(?:sure(?: thing)?|certainly|of course|absolutely|okay|ok|alright|got it|)"
                R"(great|no problem)[!.,:]+\s+)");
    return interjection.replaceAll(text, "");
}

// "Here is a short summary of it:"
std::string withoutAnnouncement(const std::string& text) {
    static const Pattern announcement = pattern(
        R"(^[*_]*(?:here(?:['’]s| is| are)|this is|below is)\b[^:：\n]{0,100}[:：][*_]*\s*)");
    return announcement.replaceAll(text, "");
}

// "**Summary:**", "One-sentence summary -", or such words on a line of their own.
std::string withoutLabel(const std::string& text) {
    static const Pattern label = pattern(
        R"(^[*_#\s]*(?:(?:an?|the|my|your|one|single|short|brief|quick|final|factual|direct|)"
        R"(conversation|session|memory|one-sentence|single-sentence|assistant)[\s,-]+){0,4})"
        R"((?:summary|note|recap|sentence|answer|output|response|result|title|memory|assistant|)"
        R"(tl;?dr|zusammenfassung|notiz|hinweis|résumé|resumen|nota|riassunto|resumo|)"
        R"(резюме|要約|摘要|总结|ملخص)(?: of the conversation| \([^)\n]{0,40}\))?)"
        R"((?:[*_]*\s*[:：][*_]*\s*|[*_]*\s+[-–—]+\s+|[*_]*\s*\n))");
    return label.replaceAll(text, "");
}

// Whether the first quote within `inner` opens: then those around it belong together.
bool firstOpens(const std::string& inner, const std::string& quote) {
    static const Pattern apostrophe = pattern(R"((\pL)'(\pL))");
    static const Pattern opening = pattern(R"((?:^|[\s(\[—–])$)");
    const std::string plain = apostrophe.replaceAll(inner, "");
    const std::size_t at = plain.find(quote);
    return at == std::string::npos || opening.matches(plain.substr(0, at));
}

// Whether what opens at the beginning closes at the end and not before.
bool isBalanced(const std::string& inner, const std::string& open, const std::string& close) {
    if (open == close)
        return firstOpens(inner, open);
    int depth = 1;
    for (std::size_t at = 0; at < inner.size() && depth > 0; ++at) {
        if (inner.compare(at, open.size(), open) == 0)
            ++depth;
        else if (inner.compare(at, close.size(), close) == 0)
            --depth;
    }
    return depth == 1;
}

std::string withoutPair(const std::string& text, const std::string& open,
                        const std::string& close) {
    const bool endsAfter = text.ends_with(close + "."); // a full stop outside the quotes
    const std::size_t end = text.size() - (endsAfter ? 1 : 0);
    if (!text.starts_with(open) || end < open.size() + close.size() ||
        text.compare(end - close.size(), close.size(), close) != 0)
        return text;
    const std::string inner = text.substr(open.size(), end - open.size() - close.size());
    if (!isBalanced(inner, open, close))
        return text;
    return endsAfter && !inner.ends_with('.') ? inner + "." : inner;
}

std::string withoutPairs(std::string text) {
    static const std::pair<const char*, const char*> pairs[] = {
        {"\"", "\""}, {"'", "'"},   {"“", "”"},   {"„", "“"},   {"‘", "’"},     {"«", "»"},
        {"‹", "›"},   {"»", "«"},   {"「", "」"}, {"『", "』"}, {"```", "```"}, {"`", "`"},
        {"**", "**"}, {"__", "__"}, {"*", "*"},   {"_", "_"}};
    for (const auto& [open, close] : pairs)
        text = withoutPair(text, open, close);
    return text;
}

std::string withoutOneLayer(const std::string& text) {
    return trimmed(withoutPairs(withoutLabel(withoutAnnouncement(
        withoutInterjection(withoutBullet(withoutFenceLanguage(trimmed(text))))))));
}

} // namespace

std::string withoutPreamble(std::string_view answer) {
    std::string text = withoutThinking(answer);
    for (int layer = 0; layer < mostLayers; ++layer) {
        std::string inner = withoutOneLayer(text);
        if (inner == text)
            break;
        text = std::move(inner);
    }
    return text;
}

std::string stripPreamble(std::string_view answer) {
    static const Pattern laterParagraphs = pattern(R"((?s)\n[ \t\r]*\n.*$)");
    return oneLine(laterParagraphs.replaceAll(withoutPreamble(answer), ""));
}

} // namespace tavik
