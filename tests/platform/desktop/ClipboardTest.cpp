#include "platform/desktop/Clipboard.h"
#include "tests/platform/desktop/ClipboardOwner.h"
#include "tests/platform/desktop/DesktopTest.h"
#include "tests/support/StopTiming.h"

namespace tavik {
namespace {

using namespace std::chrono_literals;

class ClipboardTest : public DesktopTest {};

std::string shortened(const std::optional<std::string>& text) {
    return text ? text->substr(0, 40) + " of " + std::to_string(text->size()) : "none";
}

TEST_F(ClipboardTest, GivesWhatItsOwnerHas) {
    const std::string large(3'000'000, 'x');
    const std::string tooLarge(17 * 1024 * 1024, 'x');
    const struct {
        ClipboardOwner::Manner manner;
        std::optional<std::string> text;
    } cases[] = {
        {{.forms = {{"UTF8_STRING", "Grüße 🎉"}, {"STRING", "Gr??e"}}}, "Grüße 🎉"},
        {{.forms = {{"UTF8_STRING", ""}}}, ""},
        {{.forms = {{"text/plain;charset=utf-8", "ö"}, {"STRING", "?"}}}, "ö"},
        {{.forms = {{"STRING", "Gr\xFC\xDF"
                               "e"}}},
         "Grüße"},
        {{.forms = {{"UTF8_STRING", large}}}, large},
        {{.forms = {{"UTF8_STRING", large}}, .pieceSize = 65'536}, large},
        {{.forms = {{"STRING", "\xE4\xF6\xFC"}}, .pieceSize = 2}, "äöü"},
        {{.forms = {{"UTF8_STRING", tooLarge}}, .pieceSize = 1'000'000}, std::nullopt},
        {{.forms = {{"image/png", "png"}}}, ""},
        {{.forms = {{"image/png", "png"}, {"text/html", "<b>"}}}, std::nullopt},
        {{.forms = {}}, ""},
    };
    for (const auto& [manner, text] : cases) {
        const ClipboardOwner owner(manner);
        const auto read = clipboardText({});
        EXPECT_TRUE(read == text) << shortened(read) << " instead of " << shortened(text);
    }
    EXPECT_EQ(clipboardText({}), ""); // the last owner has gone
}

TEST_F(ClipboardTest, IsUnknownWhenItsOwnerHangs) {
    const std::string large(1'000'000, 'x');
    for (const ClipboardOwner::Manner& manner :
         {ClipboardOwner::Manner{.forms = {}, .isSilent = true},
          ClipboardOwner::Manner{
              .forms = {{"UTF8_STRING", large}}, .pieceSize = 1000, .mostPieces = 9}}) {
        const ClipboardOwner owner(manner);
        EXPECT_LT(timeOf([] { EXPECT_EQ(clipboardText({}), std::nullopt); }), 1500ms);
        EXPECT_LT(timeToCancel([](std::stop_token stop) { clipboardText(std::move(stop)); }), 50ms);
    }
}

TEST_F(ClipboardTest, IsUnknownWithoutADisplayThatAnswers) {
    display().server().suspend();
    EXPECT_LT(timeOf([] { EXPECT_EQ(clipboardText({}), std::nullopt); }), 1500ms);
    display().server().resume();
    setenv("DISPLAY", ":54321", 1);
    EXPECT_EQ(clipboardText({}), std::nullopt);
    unsetenv("DISPLAY");
    EXPECT_EQ(clipboardText({}), std::nullopt);
}

} // namespace
} // namespace tavik
