#include "voice/Speaker.h"

namespace tavik {

TEST(Speaker, ChoosesTheUsersVoiceOrTheBestEnglishOne) {
    const Voice german{"de", "Anna", "de-DE", VoiceQuality::premium};
    const Voice british{"gb", "Oliver", "en-GB", VoiceQuality::compact};
    const Voice american{"us", "America", "en-US", VoiceQuality::compact};
    const Voice samantha{"sam", "Samantha", "en-US", VoiceQuality::compact};
    const Voice enhanced{"enh", "Better", "en-GB", VoiceQuality::enhanced};
    const Voice premium{"pre", "Best", "en-AU", VoiceQuality::premium};
    struct Case {
        std::string voiceId;
        std::vector<Voice> installed;
        std::string chosen;
    };
    const std::vector<Case> cases = {
        {"gb", {american, british, premium}, "gb"},
        {"deleted", {british, american}, "us"},
        {"", {german, british, enhanced, premium}, "pre"},
        {"", {german, british, enhanced, american}, "enh"},
        {"", {british, american, samantha}, "sam"},
        {"", {german, british}, "none"},
        {"", {}, "none"},
    };
    for (const Case& each : cases) {
        const auto voice = chooseVoice(each.voiceId, each.installed);
        EXPECT_EQ(voice ? voice->identifier : "none", each.chosen);
    }
}

} // namespace tavik
