#include "platform/audio/AudioServer.h"

#include <fmt/format.h>

namespace tavik {

std::string describe(const AudioFormat& format) {
    return fmt::format("{} Hz, {} channel{}, 32-bit float", format.sampleRate, format.channelCount,
                       format.channelCount == 1 ? "" : "s");
}

} // namespace tavik
