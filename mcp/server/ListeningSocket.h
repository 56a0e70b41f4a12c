#pragma once

#include "platform/files/FileDescriptor.h"

#include <stdexcept>
#include <string>
#include <sys/types.h>

namespace tavik {

// Nobody can be served at the path. `what()` is the line for the log.
class ListenError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A listening stream socket in the file system, for this user alone.
class ListeningSocket {
public:
    // Makes the folder when it is missing and replaces what a crashed run left at `path`, but never
    // a socket that somebody serves. Throws ListenError.
    explicit ListeningSocket(std::string path);
    // Removes the file, unless another one is there by now.
    ~ListeningSocket();
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    int descriptor() const { return socket.get(); }

    // The next client, without blocking; none, with the reason in errno, when nobody waits. A
    // client of another user is turned away with EACCES.
    FileDescriptor accept() const;

private:
    struct FileIdentity {
        dev_t device = 0;
        ino_t inode = 0;
        bool operator==(const FileIdentity&) const = default;
    };

    void bindAndListen();
    FileIdentity identity() const;

    const std::string path;
    FileDescriptor socket;
    FileIdentity bound;
};

} // namespace tavik
