#include "fuzz/Targets.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <random>

namespace tavik {

namespace {

// A small fuzzer without feedback: the failures that it can find end the process.
class Mutations {
public:
    explicit Mutations(const std::filesystem::path& folder) {
        for (const auto& file : std::filesystem::directory_iterator(folder))
            seeds.push_back(readFile(file.path()));
        std::sort(seeds.begin(), seeds.end());
    }

    std::size_t seedCount() const { return seeds.size(); }
    const std::string& seed(std::size_t index) const { return seeds[index]; }

    std::string next() {
        std::string text = seeds[below(seeds.size())];
        for (std::size_t changes = below(4) + 1; changes > 0 && !text.empty(); --changes)
            change(text);
        return text;
    }

private:
    void change(std::string& text) {
        const std::size_t from = below(text.size());
        const std::size_t length = below(std::min<std::size_t>(text.size() - from, 40)) + 1;
        switch (below(5)) {
        case 0:
            text[from] = static_cast<char>(below(256));
            break;
        case 1:
            text.erase(from, length);
            break;
        case 2:
            text.insert(below(text.size()), text, from, length);
            break;
        case 3: {
            const std::string& other = seeds[below(seeds.size())];
            text.insert(from, other, below(other.size()), length);
            break;
        }
        default:
            text.resize(from);
        }
    }

    std::size_t below(std::size_t limit) { return random() % limit; }

    std::vector<std::string> seeds;
    std::mt19937 random{2026};
};

void readMutations(const char* folder, void (*read)(std::string_view)) {
    Mutations mutations(std::filesystem::path(TAVIK_FUZZ_SEEDS) / folder);
    ASSERT_GT(mutations.seedCount(), 3u);
    for (std::size_t index = 0; index < mutations.seedCount(); ++index)
        read(mutations.seed(index));
    for (int round = 0; round < 20'000; ++round)
        read(mutations.next());
}

} // namespace

TEST(Mutation, BreaksNoReaderOfReplies) {
    readMutations("brain-replies", fuzz::readBrainReply);
}

TEST(Mutation, BreaksNoReaderOfPages) {
    readMutations("pages", fuzz::readPage);
}

TEST(Mutation, BreaksNoMakerOfSummaries) {
    readMutations("summaries", fuzz::readSummary);
}

TEST(Mutation, GetsNoHeldCallPastTheGuardrails) {
    readMutations("guardrails", fuzz::judgeCall);
}

TEST(Mutation, BreaksNoReaderOfAnEngine) {
    readMutations("engine-lines", fuzz::readEngineLines);
}

TEST(Mutation, LeavesEveryRequestOfAnAgentWithOneAnswer) {
    readMutations("agent-requests", fuzz::handleAgentRequests);
}

} // namespace tavik
