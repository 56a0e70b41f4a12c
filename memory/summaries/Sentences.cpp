#include "memory/summaries/Sentences.h"

#include "platform/text/Text.h"

#include <memory>
#include <unicode/brkiter.h>
#include <unicode/filteredbrk.h>
#include <unicode/utext.h>

namespace tavik {

namespace {

using BreakRules = std::unique_ptr<icu::BreakIterator>;

BreakRules makeRules() {
    UErrorCode status = U_ZERO_ERROR;
    BreakRules plain(icu::BreakIterator::createSentenceInstance(icu::Locale::getRoot(), status));
    const std::unique_ptr<icu::FilteredBreakIteratorBuilder> builder(
        icu::FilteredBreakIteratorBuilder::createInstance(icu::Locale::getEnglish(), status));
    if (!builder)
        return plain;
    for (const char16_t* abbreviation : {u"Dr.", u"Mr.", u"Mrs.", u"Ms.", u"St.", u"vs.", u"etc."})
        builder->suppressBreakAfter(abbreviation, status);
    return BreakRules(builder->build(plain.release(), status));
}

// A copy to walk with; making one from the rules takes much longer.
BreakRules copyOfRules() {
    static const BreakRules rules = makeRules();
    return BreakRules(rules->clone());
}

} // namespace

std::vector<std::string> sentences(std::string_view line) {
    std::vector<std::string> found;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UText, decltype(&utext_close)> text(
        utext_openUTF8(nullptr, line.data(), static_cast<std::int64_t>(line.size()), &status),
        utext_close);
    const BreakRules walk = copyOfRules();
    walk->setText(text.get(), status);
    std::size_t begin = 0;
    for (std::int32_t next; (next = walk->next()) != icu::BreakIterator::DONE;) {
        const auto end = static_cast<std::size_t>(next);
        if (std::string sentence = trimmed(line.substr(begin, end - begin)); !sentence.empty())
            found.push_back(std::move(sentence));
        begin = end;
    }
    return found;
}

} // namespace tavik
