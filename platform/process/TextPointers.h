#pragma once

#include <string>
#include <vector>

namespace tavik {

// The texts as exec(3) takes them: with a null pointer behind the last. Valid as long as they are.
inline std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace tavik
