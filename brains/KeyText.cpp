#include "brains/KeyText.h"

#include <algorithm>

namespace tavik {

namespace {

constexpr std::size_t maximumKeyLength = 4096;

} // namespace

bool isPlausibleKey(std::string_view key) {
    return !key.empty() && key.size() <= maximumKeyLength &&
           std::all_of(key.begin(), key.end(),
                       [](char letter) { return letter > ' ' && letter < 0x7f; });
}

} // namespace tavik
