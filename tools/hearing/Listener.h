#pragma once

#include "tools/hearing/NotingTranscriber.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tavik {

class AudioNetwork;

// A moment at which the wake model took what it heard for the phrase.
struct Candidate {
    std::size_t heard; // samples until then
    double probability;
    bool confirmed;         // by the verification
    std::string transcript; // that the verification judged
};

// Listens to recordings as the voice loop does: a look each 0.2 s at the last 1.5 s, verification
// of the last 2.5 s, and after each candidate everything forgotten and 1.2 s of deafness. The
// session that a candidate begins takes no time here.
class Listener {
public:
    // Throws ModelError or TranscriberError.
    explicit Listener(const std::string& modelPath);
    ~Listener();

    // `samples`: 16 kHz; what was before them was silence. The first look is after `phase` samples
    // and 0.2 s.
    void take(std::vector<float> samples, std::size_t phase);
    // Those of what was taken, at this threshold. Looks are remembered from one threshold to the
    // next.
    std::vector<Candidate> candidates(double threshold);

private:
    using Moment = std::pair<std::size_t, std::size_t>; // heard, and forgotten of it
    struct Judgement {
        bool confirmed;
        std::string transcript;
    };

    std::vector<float> window(std::size_t length, Moment moment) const;
    double probability(Moment moment);
    const Judgement& verification(Moment moment);

    std::unique_ptr<AudioNetwork> model;
    NotingTranscriber transcriber;
    std::vector<float> recording;
    std::size_t firstLook = 0;
    std::map<Moment, double> probabilities;
    std::map<Moment, Judgement> judgements;
};

} // namespace tavik
