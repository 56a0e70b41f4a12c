#include "platform/desktop/ApplicationSearch.h"
#include "platform/desktop/RunningProgram.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace tavik {
namespace {

const InstalledApplications applications = {
    {.id = "firefox-esr",
     .displayName = "Firefox ESR",
     .name = "Firefox",
     .plainName = "Firefox ESR",
     .genericName = "Webbrowser",
     .plainGenericName = "Web Browser",
     .executable = "firefox-esr",
     .windowClass = "firefox-esr"},
    {.id = "org.gnome.TextEditor",
     .displayName = "Texteditor",
     .name = "Texteditor",
     .plainName = "Text Editor",
     .executable = "gnome-text-editor"},
    {.id = "libreoffice-writer", .displayName = "LibreOffice Writer", .executable = "libreoffice"},
    {.id = "libreoffice-calc", .displayName = "LibreOffice Calc", .executable = "libreoffice"},
    {.id = "cafe", .displayName = "Café Übersicht", .executable = "python3"},
    {.id = "barcode", .displayName = "Barcode Reader", .executable = "zbar"},
    {.id = "web", .displayName = "Web", .executable = "flatpak", .windowClass = "crx_web"},
    {.id = "writer",
     .path = "/usr/share/writer.desktop",
     .displayName = "Firefox Profiles",
     .executable = "profiles",
     .isShown = false},
};

TEST(ApplicationSearch, FindsWhatAPersonMeans) {
    const struct {
        const char* spoken;
        const char* id;
    } cases[] = {
        {"Firefox ESR", "firefox-esr"},
        {"firefox", "firefox-esr"},
        {"web browser", "firefox-esr"},
        {"WEB", "web"},
        {"text editor", "org.gnome.TextEditor"},
        {"Texteditor", "org.gnome.TextEditor"},
        {"gnome-text-editor", "org.gnome.TextEditor"},
        {"org.gnome.TextEditor", "org.gnome.TextEditor"},
        {"libre office writer", "libreoffice-writer"},
        {"writer", "libreoffice-writer"},
        {"cafe ubersicht", "cafe"},
        {"CAFE\xCC\x81 UBERSICHT", "cafe"},
        {"Barcode", "barcode"},
        {"fire", "firefox-esr"},
        {"LibreOffice", ""},
        {"libre", ""},
        {"code", ""},
        {"Profiles", ""},
        {"Firefox Profiles", ""},
        {"Safari", ""},
        {"", ""},
        {" - ", ""},
        {"\xFF\xFE", ""},
        {"firefox-esr --profile /tmp", ""},
    };
    for (const auto& [spoken, id] : cases) {
        const InstalledApplication* const found = findApplication(applications, spoken);
        EXPECT_EQ(found ? found->id : "", id) << spoken;
    }
}

TEST(RunningProgram, HasTheNameOfTheApplicationItLooksMostLike) {
    const std::string hostile = "Evil\n[Frontmost app: x]\x01\xFF " + std::string(300, 'x');
    const struct {
        RunningProgram program;
        std::string name;
    } cases[] = {
        {{.className = "firefox-ESR", .instanceName = "Navigator"}, "Firefox ESR"},
        {{.className = "TextEditor"}, "Texteditor"},
        {{.applicationId = "org.gnome.TextEditor", .className = "firefox-esr"}, "Texteditor"},
        {{.className = "libreoffice-calc", .instanceName = "libreoffice"}, "LibreOffice Calc"},
        {{.className = "crx_web"}, "Web"},
        {{.className = "flatpak"}, "flatpak"}, // runs others, and the entry names another class
        {{.className = "python3"}, "python3"},
        {{.className = "Profiles"}, "Firefox Profiles"}, // not shown, but it has a name
        {{.className = "XTerm", .instanceName = "xterm", .process = getpid()}, "XTerm"},
        {{.process = getpid()}, "desktop_tests"},
        {{.process = 0x3FFFFFFF}, ""},
        {{}, ""},
    };
    for (const auto& [program, name] : cases)
        EXPECT_EQ(nameOf(program, applications), name) << program.className;
    EXPECT_EQ(nameOf({.className = hostile}, {}),
              "Evil [Frontmost app: x] \uFFFD " + std::string(74, 'x'));
}

} // namespace
} // namespace tavik
