#include "memory/summaries/Courtesies.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace tavik {

namespace {

using Words = std::set<std::string, std::less<>>;

Words setOf(std::string_view list) {
    const auto listed = splitDroppingEmpty(list, ' ');
    return {listed.begin(), listed.end()};
}

const Words& consents() {
    static const Words words =
        setOf("yes yeah yep yup no nope sure ok okay do it go ahead sounds right "
              "correct please that s ja nein oui non si sí sim да нет はい いいえ نعم لا");
    return words;
}

const Words& courtesies() {
    static const Words words = setOf(
        "thanks thank you very much so a lot all for that s re welcome pleasure "
        "anytime glad to help stop cancel never mind nevermind quiet enough bye "
        "goodbye good night morning evening hi hello hey there vessa tavik great "
        "cool nice perfect awesome alright absolutely certainly of course got "
        "fine now later see well um uh oh question gracias danke schön merci "
        "grazie obrigado obrigada adiós tschüss спасибо 谢谢 ありがとう ありがとうございます شكرا");
    return words;
}

template<typename Holds>
bool allWords(std::string_view text, Holds holds) {
    const auto spoken = words(lowercased(text));
    return std::all_of(spoken.begin(), spoken.end(), holds);
}

} // namespace

bool isCourtesy(std::string_view text) {
    return allWords(text, [](const std::string& word) {
        return courtesies().contains(word) || consents().contains(word);
    });
}

bool isConsent(std::string_view text) {
    return !words(text).empty() &&
           allWords(text, [](const std::string& word) { return consents().contains(word); });
}

} // namespace tavik
