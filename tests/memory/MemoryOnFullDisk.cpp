#include "memory/MemoryStore.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sys/resource.h>

// Remembers where there is room for about six megabytes, and prints what came of it. Arguments: a
// folder, and what takes the room away: "filler" for a file in it, "limit" for the size that the
// system lets a file have.

using namespace tavik;

namespace {

constexpr std::size_t longTurn = 20'000;
constexpr std::size_t shortTurn = 10;

// What takes the room away.
class Disk {
public:
    Disk(std::string where, bool byLimit)
        : path(std::move(where))
        , isLimited(byLimit) {}

    void leaveNothing() const { isLimited ? limitFiles(2000) : fill(64 << 20); }
    void leaveSome() const { isLimited ? limitFiles(5 << 20) : fill(2 << 20); }
    void leaveAll() const { isLimited ? limitFiles(RLIM_INFINITY) : fill(0); }

private:
    void fill(std::size_t size) const {
        std::ofstream(path + "/filler", std::ios::trunc) << std::string(size, '.');
    }

    static void limitFiles(rlim_t size) {
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = size;
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    const std::string path;
    const bool isLimited;
};

class Memory {
public:
    Memory(const std::string& folder, UserDefaults& defaults)
        : store({folder + "/Memory.store", defaults, nullptr}) {
        store.onIssue([](const std::string& issue) { std::printf("notice: %s\n", issue.c_str()); });
    }

    bool keeps(std::size_t size) {
        const std::string session = std::to_string(++sessions);
        store.record(session, "user", std::string(size, 'x'), std::chrono::system_clock::now());
        return store.turns(session).size() == 1 && (kept[session] = size) > 0;
    }

    void fillUp() {
        while (keeps(longTurn) && sessions < 2000) {
        }
    }

    int lostBy(Memory& reopened) const {
        int lost = 0;
        for (const auto& [session, size] : kept) {
            const auto turns = reopened.store.turns(session);
            lost += turns.size() == 1 && turns.front().text.size() == size ? 0 : 1;
        }
        return lost;
    }

private:
    MemoryStore store;
    int sessions = 0;
    std::map<std::string, std::size_t> kept;
};

const char* toldOf(bool isKept) {
    return isKept ? "kept" : "not kept";
}

} // namespace

int main(int, char** arguments) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    std::puts("begun");
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string folder = arguments[1];
    const Disk disk(folder, arguments[2] == std::string("limit"));
    UserDefaults defaults("/nonexistent");
    disk.leaveNothing();
    Memory memory(folder, defaults);
    std::printf("at first: %s\n", toldOf(memory.keeps(shortTurn)));
    disk.leaveSome();
    std::printf("with some room: %s\n", toldOf(memory.keeps(shortTurn)));
    for (const char* time : {"once", "twice"}) {
        memory.fillUp();
        int forgotten = 0;
        for (int turn = 0; turn < 40; ++turn)
            forgotten += memory.keeps(turn % 2 == 0 ? shortTurn : longTurn) ? 0 : 1;
        std::printf("filled %s: %s\n", time, forgotten >= 20 ? "full" : "not full");
        disk.leaveAll();
        std::printf("with room again: %s\n", toldOf(memory.keeps(longTurn)));
        disk.leaveSome();
    }
    disk.leaveAll();
    Memory reopened(folder, defaults);
    std::printf("lost: %d\n", memory.lostBy(reopened));
}
