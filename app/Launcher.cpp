// The program that people and agents start. It is small on purpose: agents start it anew for every
// session, and for them it is a bridge that must not load the speech, sound and desktop libraries.
// For everything else it becomes the program itself.

#include "app/Paths.h"
#include "mcp/shim/MCPShim.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unistd.h>

int main(int count, char** arguments) {
    const bool isShim = std::any_of(arguments + std::min(count, 1), arguments + count,
                                    [](std::string_view each) { return each == "--mcp"; });
    if (isShim)
        tavik::runMCPShim();
    const std::string program = tavik::programPath();
    execv(program.c_str(), arguments);
    std::fprintf(stderr, "tavik: %s cannot be started: %s.\n", program.c_str(),
                 std::strerror(errno));
    return EXIT_FAILURE;
}
