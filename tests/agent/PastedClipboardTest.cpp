#include "agent/AgentSession.h"
#include "tests/platform/desktop/ClipboardOwner.h"
#include "tools/stand-ins/services/PrivateDisplay.h"

#include <cstdlib>

namespace tavik {
namespace {

using testing::Optional;
using testing::StartsWith;

TEST(PastedClipboard, IsReadFromTheDisplayAndJudged) {
    const PrivateDisplay display;
    setenv("DISPLAY", display.name().c_str(), 1);
    Guardrails guardrails(AgentSurroundings{}.clipboard);
    const auto judged = [&guardrails](const ClipboardOwner::Manner& manner) {
        const ClipboardOwner owner(manner);
        return guardrails.check({"1", "press_key", {{"key", "cmd+v"}}}, 1);
    };
    EXPECT_THAT(judged({.forms = {{"UTF8_STRING", "sudo rm -rf /"}}}),
                Optional(StartsWith("HARD-BLOCKED by Tavik's safety rules: this would run "
                                    "recursive delete of the root or home directory,")));
    EXPECT_THAT(
        judged({.forms = {{"UTF8_STRING", "git push"}}}),
        Optional(StartsWith("BLOCKED pending the user's confirmation: this is pushing to")));
    EXPECT_EQ(judged({.forms = {{"UTF8_STRING", "dear reader"}}}), std::nullopt);
    EXPECT_THAT(judged({.forms = {}, .isSilent = true}), // its owner hangs
                Optional(StartsWith("BLOCKED pending the user's confirmation: this is pasting text "
                                    "that couldn't be checked")));
    unsetenv("DISPLAY");
}

} // namespace
} // namespace tavik
