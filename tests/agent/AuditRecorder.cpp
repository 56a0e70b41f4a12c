#include "agent/Audit.h"

#include <string>

// Records without end: a process to be killed in the middle of it.
int main() {
    for (int number = 0;; ++number) {
        tavik::Audit::record(
            "tool", {{"number", number},
                     {"filler", std::string(static_cast<std::size_t>(number % 3000), 'x')}});
        if (number % 100 == 0)
            tavik::Audit::flush();
    }
}
