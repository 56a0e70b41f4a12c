#include "platform/text/Text.h"
#include "tests/agent/GuardrailsTest.h"

#include <chrono>

namespace tavik {
namespace {

// What becomes of each of the texts.
struct Texts {
    std::string outcome;
    std::vector<std::string> texts;
};

constexpr const char* recursiveDelete = "refused: recursive delete of the root or home directory";
constexpr const char* filesDeleted = "held: deleting files with rm";
constexpr const char* asRoot = "held: running a command as root";
constexpr const char* pushing = "held: pushing to a remote repository";

TEST_F(GuardrailsTest, EveryRuleForTypedTextMatchesItsCommandsAndNotTheOnesBesideThem) {
    const Texts cases[] = {
        {recursiveDelete,
         {"rm -rf ~", "cd x; RM -fR /", "rm -r -f \"$HOME\"\nls", "rm\t-r /*",
          "rm -v --recursive -f -- '~/*' x", "rm -rf $home/ && true"}},
        {"refused: rm as root", {"sudo  rm x", "sudo rm"}},
        {"refused: formatting a filesystem", {"mkfs.ext4 x"}},
        {"refused: erasing a disk", {"diskutil eraseDisk x", "diskutil partitiondisk"}},
        {"refused: writing raw bytes to a device", {"dd if=a of=/dev/sda"}},
        {"refused: writing to a raw disk", {"cat x >/dev/rdisk2", "> /dev/disk1"}},
        {"refused: a fork bomb", {":(){ :|:& };:", ":()  {\na | b & }"}},
        {"refused: locking out the root directory", {"chmod -R -v 000 /", "chmod 000 /home"}},
        {"refused: unloading system services", {"launchctl bootout system/x"}},
        {"refused: disabling System Integrity Protection", {"csrutil disable"}},
        {filesDeleted, {"rm x", "rm -rf ~/Projects/tmp", "rm -f /", "rm -rf /etc", "rm -rf ~root"}},
        {asRoot, {"sudo", "sudo rmdir x", "git push; sudo x"}},
        {pushing, {"git push", "Git\tPUSH -f"}},
        {"held: discarding local changes", {"git  reset --hard HEAD"}},
        {"held: deleting untracked files", {"git clean -fd"}},
        {"held: force-quitting apps", {"killall Finder"}},
        {"held: shutting down or restarting the Mac", {"shutdown -h now", "Reboot"}},
        {"runs",
         {"alarm -rf /",
          "amkfs",
          "diskutil list",
          "dd if=/dev/zero\nof=/dev/sda",
          "dd if=/dev/sda of=disk.img",
          "cat x > /dev/null",
          "if (a && b) { c(); }",
          "f(){ a | b & }",
          ":(){ a; b & }",
          ":(){ a | b }",
          "chmod 0000 /",
          "chmod 000 a",
          "launchctl unload ~/x",
          "csrutil status",
          "rm",
          "a form x",
          "pseudo",
          "git pushd",
          "git reset --hardly",
          "git reset --soft",
          "git cleanup",
          "kill all",
          "rebooted",
          "Delete",
          ""}},
    };
    for (const auto& [expected, texts] : cases)
        for (const std::string& text : texts)
            EXPECT_EQ(check(typing(text)), expected) << text;
}

TEST_F(GuardrailsTest, EveryDangerousLabelIsHeldAsItStands) {
    for (const std::string label :
         {"Delete", "empty trash", "Move to Trash", "ERASE", "format", "Send", "buy", "Purchase",
          "pay", "Place Order", "uninstall", "Shut Down", "restart", "log out", "Sign Out"}) {
        EXPECT_EQ(check("click_element", {{"label", "OK, " + label + "…"}}),
                  "held: activating \"" + label + "\"");
        EXPECT_EQ(check("click_element", {{"label", label + "ing"}}), "runs");
        EXPECT_EQ(check("click_element", {{"label", "x" + label}}), "runs");
    }
    EXPECT_EQ(check("click_element", {{"label", "Shut  down"}}), "runs");
}

TEST_F(GuardrailsTest, EachToolIsJudgedByTheRulesOfItsKind) {
    const Json arguments = {{"x", 3}, {"what", {{"labels", {"Send", "sudo"}}}}};
    for (const char* tool : {"type_text", "fill_field", "set_clipboard"})
        EXPECT_EQ(check(tool, arguments), asRoot) << tool;
    for (const char* tool : {"click_element", "click", "double_click", "click_menu",
                             "select_option", "handle_system_dialog"})
        EXPECT_EQ(check(tool, arguments), "held: activating \"Send\"") << tool;
    for (const char* tool : {"press_key", "ax_snapshot", "open_url", "wait", "Type_Text", ""})
        EXPECT_EQ(check(tool, arguments), "runs") << tool;
    EXPECT_EQ(check("press_key", {{"keys", "Cmd+Shift+Delete"}}), "held: emptying the Trash");
    EXPECT_EQ(check("press_key", {{"key", "delete"}, {"with", {"command", "shift"}}}),
              "held: emptying the Trash");
    EXPECT_EQ(check("press_key", {{"keys", "shift+delete"}}), "runs");
    EXPECT_EQ(check("press_key", {{"keys", "cmd+delete"}}), "runs");
}

TEST_F(GuardrailsTest, TheStringsOfTheArgumentsAreSortedAndItsKeysDoNotCount) {
    EXPECT_EQ(check("fill_field", {{"b", "rm"}, {"a", {"~", {{"c", "-rf"}}}}}), filesDeleted);
    EXPECT_EQ(check("fill_field", {{"b", "Rm -rf"}, {"a", "~"}}), recursiveDelete);
    EXPECT_EQ(check("fill_field", {{"sudo", 1}, {"x", {true, nullptr, 2.5}}}), "runs");
    EXPECT_EQ(check("fill_field", "sudo"), asRoot);
    EXPECT_EQ(check("fill_field", Json()), "runs");
    EXPECT_EQ(check("fill_field", Json::binary({115, 117, 100, 111})), "runs");
}

TEST_F(GuardrailsTest, ADisguiseDoesNotHelp) {
    const Texts cases[] = {
        {recursiveDelete,
         {"r\u200Bm -rf ~",                                    // zero-width space
          "\u202Erm\u2066 -rf ~",                              // directions
          "rm -r\u00ADf\u00A0~",                               // soft hyphen, no-break space
          "rm\u3000-rf\u2028/",                                // ideographic space, line separator
          "r\xFFm -rf \xE2\x80~",                              // faulty bytes
          "r\x01m -rf\x7F /"}},                                // control characters
        {"refused: rm as root", {"su\uFE0Fd\U000E0061o\vrm"}}, // a variant, a tag, a vertical tab
        {asRoot, {"s\u034Fudo ls"}},
        {pushing, {"g\u2060it\u2003push"}},
        {"runs", {"r m\u00A0x", "a\u200Bb\u00A0ü\xFF"}},
    };
    for (const auto& [expected, texts] : cases)
        for (const std::string& text : texts)
            EXPECT_EQ(check(typing(text)), expected) << text;
    EXPECT_EQ(check("click", {{"label", "De\u200Blete"}}), "held: activating \"Delete\"");
    EXPECT_EQ(check("click", {{"label", "Empty\u00A0Trash"}}), "held: activating \"Empty Trash\"");
    clipboard = "sudo";
    EXPECT_EQ(check("press_key", {{"keys", "c\u200Bmd+v"}}), asRoot);
}

TEST_F(GuardrailsTest, PastingIsJudgedAsTypingTheClipboard) {
    const Json pastes[] = {
        {{"keys", "cmd+v"}}, {{"key", "V"}, {"modifiers", {"Command"}}}, {{"keys", "shift-CMD-v"}}};
    for (const Json& arguments : pastes) {
        clipboard = "sudo rm -rf /";
        EXPECT_EQ(check("press_key", arguments), recursiveDelete) << arguments;
        clipboard = "git push";
        EXPECT_EQ(check("press_key", arguments), pushing);
        clipboard = "Delete";
        EXPECT_EQ(check("press_key", arguments), "runs");
    }
    clipboard = "sudo x";
    EXPECT_EQ(check("click_menu", {{"path", {"Edit", "Paste and Delete"}}}), asRoot);
    clipboard = "";
    EXPECT_EQ(check("click_menu", {{"path", {"Edit", "Paste and Delete"}}}), "runs");

    clipboardReads = 0;
    clipboard = "sudo rm -rf /";
    for (const char* keys :
         {"cmd+c", "v", "ctrl+v", "cmdv", "cmd+vv", "commands+v", "cmd+é v\u0301"})
        EXPECT_EQ(check("press_key", {{"keys", keys}}), "runs") << keys;
    EXPECT_EQ(check("click", {{"label", "Paste"}}), "runs");
    EXPECT_EQ(check(typing("cmd+v paste")), "runs");
    EXPECT_EQ(clipboardReads, 0);
}

TEST_F(GuardrailsTest, AClipboardThatCannotBeReadIsNotPastedUnasked) {
    const ToolCall paste = {"id", "press_key", {{"keys", "cmd+v"}}};
    const std::string held = "held: pasting text that couldn't be checked";
    clipboard = std::nullopt;
    EXPECT_EQ(check(paste), held);
    Guardrails failing([](std::stop_token) -> std::optional<std::string> { throw 1; });
    EXPECT_EQ(outcome(failing.check(paste, 0)), held);
    Guardrails without;
    EXPECT_EQ(outcome(without.check(paste, 0)), held);
    EXPECT_EQ(check("click_menu", {{"path", "Paste sudo rm"}}), "refused: rm as root");

    guardrails.beginUserTurn("yes", 1);
    clipboard = "sudo rm";
    EXPECT_EQ(check(paste, 1), "refused: rm as root");
    clipboard = "git push";
    EXPECT_EQ(check(paste, 1), pushing);
    clipboard = std::nullopt;
    EXPECT_EQ(check(paste, 1), "runs");
}

TEST_F(GuardrailsTest, LongAndHostileTextsAreJudgedToTheirEnd) {
    const auto started = std::chrono::steady_clock::now();
    for (const char* piece : {"rm -r -r ", "\"rm -x '", "sudo ", "dd of=/de ", ":(){ |",
                              "chmod -x ", "git  ", "\u200B\xFF", "-", " "}) {
        std::string text;
        while (text.size() < 1'000'000)
            text += piece;
        const std::string command = "\nrm -rf ~";
        EXPECT_EQ(check(typing(text + command)), recursiveDelete) << piece;
    }
    std::string longest(10'000'000, 'x');
    EXPECT_EQ(check(typing(longest)), "runs");
    EXPECT_EQ(check(typing(longest + " s\u00ADudo mkfs")), "refused: formatting a filesystem");
    EXPECT_EQ(check("press_key", {{"keys", longest + "+cmd+v"}}), "runs");
    // Linear, this takes a second or two; a sanitizer slows it down.
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(60));
}

TEST_F(GuardrailsTest, WhatIsTooLongToBeJudgedIsRefused) {
    const std::string tooLong(65 * 1024 * 1024, 'x');
    EXPECT_EQ(check(typing(tooLong)), "refused: an action that couldn't be checked");
    clipboard = tooLong;
    EXPECT_EQ(check("press_key", {{"keys", "cmd+v"}}),
              "refused: an action that couldn't be checked");
}

TEST_F(GuardrailsTest, ArgumentsMayBeNestedDeeply) {
    const auto nested = [](const char* innermost) {
        Json value = innermost;
        for (int level = 0; level < 100'000; ++level) {
            Json outer = level % 2 ? Json::array() : Json::object();
            (level % 2 ? outer.emplace_back(nullptr) : outer["key"]) = std::move(value);
            value = std::move(outer);
        }
        return value;
    };
    ToolCall call = {"id", "type_text", nested("sudo")};
    EXPECT_EQ(check(call), asRoot);
    guardrails.beginUserTurn("yes", 1);
    EXPECT_EQ(check(call, 1), "runs");
    EXPECT_EQ(check("type_text", nested("hello")), "runs");
}

TEST_F(GuardrailsTest, ASignatureIsTheCallAsJsonWithSortedKeys) {
    const Json arguments =
        parseJson(R"({"b":[1,[],{}, {"z":1.5e300,"y":null}],"a\"\u0001ü":true})").value();
    EXPECT_EQ(signatureOf({"id", "click", arguments}, GuardedText("a b")),
              "click|" + sortedJson(arguments) + "|a b");
}

} // namespace
} // namespace tavik
