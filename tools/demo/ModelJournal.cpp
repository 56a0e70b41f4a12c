#include "tools/demo/ModelJournal.h"

namespace tavik::demo {

std::vector<ModelRule> ModelJournal::watching(std::vector<ModelRule> rules) {
    for (ModelRule& rule : rules)
        rule.reply = [this, reply = std::move(rule.reply)](const ModelTurn& turn) {
            return note(turn, reply(turn));
        };
    return rules;
}

std::vector<Exchange> ModelJournal::exchanges() const {
    const std::lock_guard lock(mutex);
    return noted;
}

ModelReply ModelJournal::note(const ModelTurn& turn, ModelReply reply) {
    const std::lock_guard lock(mutex);
    noted.push_back({std::chrono::system_clock::now(), turn.command, reply});
    return reply;
}

} // namespace tavik::demo
