#include "memory/MemoryStore.h"

#include <cstdio>
#include <cstdlib>

// Records and clears without end, and prints what has been done: a process to be killed in the
// middle of it. Arguments: the store's path and the first number.
int main(int, char** arguments) {
    using namespace tavik;
    UserDefaults defaults("/nonexistent");
    MemoryStore store({arguments[1], defaults, nullptr});
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    for (int number = std::atoi(arguments[2]);; ++number) {
        if (number % 17 == 0) {
            std::printf("clearing before %d\n", number);
            store.clearAll();
            std::printf("cleared before %d\n", number);
        }
        store.record("session", "user", std::to_string(number), std::chrono::system_clock::now());
        std::printf("recorded %d\n", number);
    }
}
