#include "app/Paths.h"
#include "memory/MemoryStore.h"
#include "memory/summaries/MakeSummarizer.h"

namespace tavik {

MemoryStore& MemoryStore::shared() {
    static MemoryStore store({memoryStorePath(), UserDefaults::standard(), makeSummarizer()});
    return store;
}

} // namespace tavik
