#include "platform/recognition/RecordedSpeech.h"

#include "platform/recognition/Transcriber.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sndfile.h>

namespace tavik {

namespace {

// A file of the sound library in memory.
struct MemoryFile {
    std::string bytes;
    std::size_t position = 0;

    static MemoryFile& of(void* self) { return *static_cast<MemoryFile*>(self); }

    static sf_count_t length(void* self) { return static_cast<sf_count_t>(of(self).bytes.size()); }
    static sf_count_t tell(void* self) { return static_cast<sf_count_t>(of(self).position); }

    static sf_count_t seek(sf_count_t offset, int whence, void* self) {
        const sf_count_t from = whence == SEEK_SET   ? 0
                                : whence == SEEK_CUR ? tell(self)
                                                     : length(self);
        of(self).position = static_cast<std::size_t>(std::max<sf_count_t>(from + offset, 0));
        return tell(self);
    }

    static sf_count_t read(void* target, sf_count_t count, void* self) {
        MemoryFile& file = of(self);
        const auto left = length(self) - std::min(tell(self), length(self));
        const auto taken = static_cast<std::size_t>(std::min(count, left));
        file.bytes.copy(static_cast<char*>(target), taken, file.position);
        file.position += taken;
        return static_cast<sf_count_t>(taken);
    }

    static sf_count_t write(const void* source, sf_count_t count, void* self) {
        MemoryFile& file = of(self);
        const auto size = static_cast<std::size_t>(count);
        file.bytes.resize(std::max(file.bytes.size(), file.position + size));
        file.bytes.replace(file.position, size, static_cast<const char*>(source), size);
        file.position += size;
        return count;
    }
};

struct CloseSound {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

} // namespace

std::string wavFileOf(std::span<const float> samples, std::uint32_t sampleRate) {
    MemoryFile file;
    SF_VIRTUAL_IO memory = {MemoryFile::length, MemoryFile::seek, MemoryFile::read,
                            MemoryFile::write, MemoryFile::tell};
    SF_INFO format{};
    format.samplerate = static_cast<int>(sampleRate);
    format.channels = 1;
    format.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    std::unique_ptr<SNDFILE, CloseSound> sound(sf_open_virtual(&memory, SFM_WRITE, &format, &file));
    if (!sound)
        throw TranscriberError(sf_strerror(nullptr));
    sf_command(sound.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    sf_write_float(sound.get(), samples.data(), static_cast<sf_count_t>(samples.size()));
    sound.reset(); // writes the sizes into the header
    return std::move(file.bytes);
}

} // namespace tavik
