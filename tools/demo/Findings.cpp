#include "tools/demo/Findings.h"

#include <algorithm>

namespace tavik::demo {

std::optional<UserTimes> Findings::userTimes() const {
    const Sound& said = utterance.sound;
    const Sound& heard = microphone.sound;
    const auto saidPart = loudPart(said.samples, said.rate);
    const auto heardPart = heard.rate ? loudPart(heard.samples, heard.rate) : std::nullopt;
    if (!saidPart || !heardPart)
        return std::nullopt;
    UserTimes times;
    times.begin = microphone.timeOf(heardPart->begin);
    times.end = microphone.timeOf(heardPart->end - 1);
    if (utterance.phraseEnd)
        times.phraseEnd = after(times.begin, *utterance.phraseEnd);
    if (utterance.commandBegin)
        times.commandBegin = after(times.begin, *utterance.commandBegin);
    times.stall = secondsBetween(times.begin, times.end) -
                  static_cast<double>(saidPart->end - saidPart->begin) / said.rate;
    return times;
}

std::optional<Part> Findings::saidAloud() const {
    if (!answered || !speaker.sound.rate)
        return std::nullopt;
    const std::size_t from = speaker.sampleAt(*answered);
    const auto part = loudPart(std::span(speaker.sound.samples).subspan(from), speaker.sound.rate);
    if (!part)
        return std::nullopt;
    return Part{part->begin + from, part->end + from};
}

const LogLine* Findings::logged(std::string_view beginning) const {
    const auto found = std::find_if(log.begin(), log.end(), [&](const LogLine& line) {
        return line.message.starts_with(beginning);
    });
    return found == log.end() ? nullptr : &*found;
}

std::string Findings::answer() const {
    return exchanges.empty() ? "" : exchanges.back().reply.text;
}

} // namespace tavik::demo
