#include "memory/summaries/SummaryParts.h"

#include "memory/summaries/OneLine.h"
#include "platform/text/Pattern.h"
#include "platform/text/Text.h"

#include <algorithm>

namespace tavik {

namespace {

// How many characters each text may have so that they share `room` fairly: what a short one leaves
// goes to the longer ones.
std::size_t fairShare(std::vector<std::size_t> lengths, std::size_t room) {
    std::sort(lengths.begin(), lengths.end());
    std::size_t waiting = lengths.size();
    for (const std::size_t length : lengths) {
        if (length * waiting > room)
            return room / waiting;
        room -= length;
        --waiting;
    }
    return lengths.empty() ? 0 : lengths.back();
}

bool hasEnd(const std::string& sentence) {
    static const Pattern end =
        *Pattern::compile(R"([.!?…。！？؟۔।]["')»”」]*$)", Pattern::Case::sensitive);
    return end.matches(sentence);
}

} // namespace

std::string sentenceOf(const std::vector<SummaryPart>& parts, std::size_t limit) {
    std::size_t room = limit - 1; // for a full stop
    std::vector<std::size_t> lengths;
    for (const SummaryPart& part : parts) {
        room -= characterCount(part.before + part.after);
        lengths.push_back(characterCount(part.text));
    }
    const std::size_t share = fairShare(lengths, room);
    std::string sentence;
    for (const SummaryPart& part : parts)
        sentence += part.before + shortened(part.text, share) + part.after;
    return hasEnd(sentence) ? sentence : sentence + ".";
}

} // namespace tavik
