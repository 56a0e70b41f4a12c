#pragma once

#include <unistd.h>
#include <utility>

namespace tavik {

// An open descriptor with one owner, closed at the end.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int opened)
        : descriptor(opened) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor(std::exchange(other.descriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(std::exchange(other.descriptor, -1));
        return *this;
    }

    // Negative when nothing is open.
    int get() const { return descriptor; }
    explicit operator bool() const { return descriptor >= 0; }

    void reset(int opened = -1) {
        if (descriptor >= 0)
            close(descriptor);
        descriptor = opened;
    }

private:
    int descriptor = -1;
};

} // namespace tavik
