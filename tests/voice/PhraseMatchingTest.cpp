#include "voice/PhraseMatching.h"

namespace tavik {

TEST(PhraseMatching, TakesWholeUtterancesOnly) {
    struct Case {
        std::string utterance;
        bool stops;
        bool pauses;
    };
    const std::vector<Case> cases = {
        {"stop", true, false},
        {"Please stop.", true, false},
        {"okay stop it thanks", true, false},
        {"ok, so please can you stop now, thank you!", true, false},
        {"  Never   mind ", true, false},
        {"no thanks", true, false},
        {"No, that's all.", true, false},
        {"stop listening please", false, true},
        {"could you turn off your mic", false, true},
        {"Go to sleep!", false, true},
        {"stop the music", false, false},
        {"please", false, false},
        {"thank you", false, false},
        {"stop\tlistening", false, false},
        {"?!.", false, false},
        {"", false, false},
        {"don't stop", false, false},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(isStopPhrase(each.utterance), each.stops) << each.utterance;
        EXPECT_EQ(isPausePhrase(each.utterance), each.pauses) << each.utterance;
    }
}

} // namespace tavik
