#include "fuzz/FixedReply.h"
#include "fuzz/Targets.h"
#include "mcp/LineBuffer.h"
#include "mcp/ToolReply.h"
#include "platform/json/Json.h"
#include "platform/text/Text.h"

namespace tavik::fuzz {

namespace {

constexpr std::size_t maximumLineBytes = 64;

std::vector<std::string> linesIn(std::string_view bytes, std::size_t atOnce, bool& hasDropped) {
    LineBuffer buffer(maximumLineBytes);
    std::vector<std::string> lines;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(atOnce, bytes.size())))
        for (std::string& line : buffer.take(bytes.substr(0, atOnce)))
            lines.push_back(std::move(line));
    hasDropped = buffer.hasDropped();
    return lines;
}

} // namespace

void readEngineLines(std::string_view input) {
    if (input.empty())
        return;
    const std::size_t atOnce = static_cast<unsigned char>(input.front()) + 1;
    input.remove_prefix(1);
    bool hasDropped = false;
    bool hasDroppedInPieces = false;
    const auto lines = linesIn(input, input.size(), hasDropped);
    check(lines == linesIn(input, atOnce, hasDroppedInPieces));
    check(hasDropped == hasDroppedInPieces);
    for (const std::string& line : lines)
        check(!line.empty() && line.size() <= maximumLineBytes);
    if (const auto result = parseJson(input)) {
        const ToolReply reply = toolReplyOf(*result);
        check(isValidUtf8(reply.text));
        check(!failedPayload(*result) || result->is_object());
    }
}

} // namespace tavik::fuzz
