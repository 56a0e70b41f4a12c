#include "mcp/LineBuffer.h"

#include <utility>

namespace tavik {

LineBuffer::LineBuffer(std::size_t maximumLineBytes)
    : maximum(maximumLineBytes) {}

std::vector<std::string> LineBuffer::take(std::string_view bytes) {
    std::vector<std::string> lines;
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (!isDropping && unfinished.size() + piece.size() > maximum) {
            isDropping = dropped = true;
            unfinished = {};
        }
        if (!isDropping)
            unfinished.append(piece);
        if (end == std::string_view::npos)
            break;
        if (!unfinished.empty())
            lines.push_back(std::exchange(unfinished, {}));
        isDropping = false;
        bytes.remove_prefix(end + 1);
    }
    return lines;
}

bool LineBuffer::hasDropped() {
    return std::exchange(dropped, false);
}

} // namespace tavik
