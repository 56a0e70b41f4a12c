#pragma once

#include <QString>
#include <string>
#include <utility>
#include <vector>

namespace tavik {

struct Choice {
    QString label;
    std::string value;
};

// The providers, by the word that is stored.
std::vector<Choice> providerChoices();

// The models to pick from; any other can be typed. The empty one stands for the provider's default.
std::vector<Choice> modelChoices(const std::string& provider);

// Where people get a key.
QString keyPage(const std::string& provider);

} // namespace tavik
