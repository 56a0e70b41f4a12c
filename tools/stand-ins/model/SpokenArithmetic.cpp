#include "tools/stand-ins/model/SpokenArithmetic.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <vector>

namespace tavik {

namespace {

using Words = std::vector<std::string>;
using Position = Words::const_iterator;

const std::map<std::string, long long>& numbers() {
    static const std::map<std::string, long long> table{
        {"zero", 0},     {"one", 1},      {"two", 2},        {"three", 3},     {"four", 4},
        {"five", 5},     {"six", 6},      {"seven", 7},      {"eight", 8},     {"nine", 9},
        {"ten", 10},     {"eleven", 11},  {"twelve", 12},    {"thirteen", 13}, {"fourteen", 14},
        {"fifteen", 15}, {"sixteen", 16}, {"seventeen", 17}, {"eighteen", 18}, {"nineteen", 19},
        {"twenty", 20},  {"thirty", 30},  {"forty", 40},     {"fifty", 50},    {"sixty", 60},
        {"seventy", 70}, {"eighty", 80},  {"ninety", 90}};
    return table;
}

std::optional<long long> numberIn(const std::string& word) {
    if (const auto known = numbers().find(word); known != numbers().end())
        return known->second;
    const bool isDigits = !word.empty() && word.size() < 10 &&
                          std::all_of(word.begin(), word.end(),
                                      [](unsigned char digit) { return std::isdigit(digit); });
    return isDigits ? std::optional(std::stoll(word)) : std::nullopt;
}

// The sum of the numbers side by side from `at` on ("twenty one"), which is moved past them.
std::optional<long long> readNumber(Position& at, Position end) {
    std::optional<long long> total;
    for (; at != end; ++at) {
        const auto part = numberIn(*at);
        if (!part)
            break;
        total = total.value_or(0) + *part;
    }
    return total;
}

std::optional<long long> combined(const std::string& word, long long left, long long right) {
    if (word == "plus")
        return left + right;
    if (word == "minus")
        return left - right;
    if (word == "times")
        return left * right;
    return std::nullopt;
}

} // namespace

std::optional<long long> spokenResult(const std::string& text) {
    const Words spoken = words(lowercased(text));
    for (Position at = spoken.begin(); at != spoken.end(); ++at) {
        const auto left = readNumber(at, spoken.end());
        if (!left)
            continue;
        if (at == spoken.end())
            return std::nullopt;
        Position next = at + 1;
        const auto right = readNumber(next, spoken.end());
        return right ? combined(*at, *left, *right) : std::nullopt;
    }
    return std::nullopt;
}

} // namespace tavik
