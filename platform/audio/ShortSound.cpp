#include "platform/audio/AudioServer.h"

#include <memory>
#include <sndfile.h>

namespace tavik {

namespace {

constexpr sf_count_t longest = 10 * 192000; // frames; more is no short sound

struct CloseFile {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

} // namespace

ShortSound readShortSound(const std::string& name, const std::string& path) {
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, CloseFile> file(sf_open(path.c_str(), SFM_READ, &info));
    if (!file || info.frames > longest)
        throw AudioError("there is no short sound in " + path);
    const auto channels = static_cast<std::size_t>(info.channels);
    std::vector<float> frames(static_cast<std::size_t>(info.frames) * channels);
    const auto count =
        static_cast<std::size_t>(sf_readf_float(file.get(), frames.data(), info.frames));
    ShortSound sound{name, static_cast<std::uint32_t>(info.samplerate), std::vector<float>(count)};
    for (std::size_t i = 0; i < count * channels; ++i)
        sound.samples[i / channels] += frames[i] / static_cast<float>(channels);
    return sound;
}

} // namespace tavik
