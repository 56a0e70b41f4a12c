#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavik {

// Cuts a stream of bytes into lines. A line longer than the limit is dropped whole, so that a peer
// that never ends one cannot fill the memory.
class LineBuffer {
public:
    explicit LineBuffer(std::size_t maximumLineBytes);

    // The lines that `bytes` complete, without their ends and without empty ones.
    std::vector<std::string> take(std::string_view bytes);

    // Whether a line has been dropped since this was last asked.
    bool hasDropped();

private:
    const std::size_t maximum;
    std::string unfinished;
    bool isDropping = false;
    bool dropped = false;
};

} // namespace tavik
