#pragma once

#include "tools/demo/WallTime.h"
#include "tools/stand-ins/model/ModelRule.h"

#include <mutex>
#include <string>
#include <vector>

namespace tavik::demo {

// One request that the scripted model really got and what it replied.
struct Exchange {
    WallTime time;
    std::string command; // of the user, as the recogniser understood it
    ModelReply reply;
};

// Writes down what the rules of a scripted model reply. Outlives the model.
class ModelJournal {
public:
    // The same rules, each writing into this journal.
    std::vector<ModelRule> watching(std::vector<ModelRule> rules);

    std::vector<Exchange> exchanges() const;

private:
    ModelReply note(const ModelTurn& turn, ModelReply reply);

    mutable std::mutex mutex;
    std::vector<Exchange> noted; // guarded by mutex
};

} // namespace tavik::demo
