#pragma once

#include <cstdio>
#include <unistd.h>

namespace tavik {

// The program's own log prints on standard output, too: it goes nowhere from now on, and the
// figures go to the stream that this returns. Call it once, first.
inline FILE* quietLog() {
    FILE* figures = fdopen(dup(STDOUT_FILENO), "w");
    setvbuf(figures, nullptr, _IOLBF, BUFSIZ);
    if (!std::freopen("/dev/null", "w", stdout))
        std::perror("/dev/null");
    return figures;
}

} // namespace tavik
