#include "tools/stand-ins/model/ModelRule.h"

#include "platform/text/Text.h"

#include <algorithm>

namespace tavik {

bool ModelTurn::hears(std::string_view word) const {
    const auto spoken = words(lowercased(command));
    return std::find(spoken.begin(), spoken.end(), word) != spoken.end();
}

bool ModelTurn::hearsAll(const std::vector<std::string>& wanted) const {
    return std::all_of(wanted.begin(), wanted.end(),
                       [this](const std::string& word) { return hears(word); });
}

ModelReply say(std::string text) {
    ModelReply reply;
    reply.text = std::move(text);
    return reply;
}

ModelReply callTool(std::string name, Json arguments) {
    ModelReply reply;
    reply.calls = {{std::move(name), std::move(arguments)}};
    return reply;
}

ModelReply failWith(int status, std::string message) {
    ModelReply reply = say(std::move(message));
    reply.status = status;
    return reply;
}

ModelReply cutConnection() {
    ModelReply reply;
    reply.cutConnection = true;
    return reply;
}

} // namespace tavik
