#include "mcp/ClientConfiguration.h"
#include "platform/hotkey/KeyTable.h"
#include "tests/ui/OldConversations.h"
#include "tests/ui/UiTest.h"
#include "ui/settings/ActivationPage.h"
#include "ui/settings/BrainPage.h"
#include "ui/settings/HotkeyRecorder.h"
#include "ui/settings/IntegrationsPage.h"
#include "ui/settings/MemoryPage.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/settings/VoicePage.h"

#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QSlider>
#include <QStackedWidget>
#include <QTimer>
#include <fmt/format.h>
#include <gmock/gmock.h>

using testing::ElementsAre;

namespace tavik {

namespace {

// Answers the question that comes up next.
void answerNextQuestion(const QString& button) {
    QTimer::singleShot(50, [button] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_TRUE(box);
        for (QAbstractButton* each : box->buttons())
            if (each->text().remove(u'&') == button)
                each->click();
    });
}

class SettingsTest : public UiTest {};

} // namespace

TEST_F(SettingsTest, ChecksAKeyThenStoresItAndNeverShowsItAgain) {
    BrainPage page(services);
    page.show();
    ASSERT_TRUE(until([&] {
        return shows(page, "Add an AI provider key so Tavik has a brain to answer with.");
    }));
    auto* field = find<QLineEdit>(page, "API key");
    world.verdict = [](const std::string& key) {
        return key == "sk-good" ? "" : "Paste a valid API key first.";
    };
    QTest::keyClicks(field, "sk-bad");
    press(page, "Check and Save");
    EXPECT_TRUE(until([&] { return shows(page, "Paste a valid API key first."); }));
    EXPECT_TRUE(world.secrets.secrets.empty());
    field->clear();
    QTest::keyClicks(field, " sk-good ");
    press(page, "Check and Save");
    EXPECT_TRUE(until([&] {
        return shows(page, "Key and model checked. Your provider checks billing and usage limits "
                           "when you ask for an answer.");
    }));
    EXPECT_THAT(world.secrets.secrets, ElementsAre(std::pair<const std::string, std::string>(
                                           "ai.tavik/gemini", "sk-good")));
    EXPECT_EQ(field->text(), "");
    for (const QLabel* label : page.findChildren<QLabel*>())
        EXPECT_FALSE(label->text().contains("sk-good"));
    press(page, "Remove Key");
    EXPECT_TRUE(until([&] {
        return shows(page, "Add an AI provider key so Tavik has a brain to answer with.");
    }));
    EXPECT_TRUE(world.secrets.secrets.empty());
}

TEST_F(SettingsTest, StoresAKeyUncheckedWhenTheProviderCannotBeReachedAndTheUserInsists) {
    BrainPage page(services);
    page.show();
    world.verdict = [](const std::string&) {
        return "Couldn't reach your AI provider. Check your connection and try again.";
    };
    QTest::keyClicks(find<QLineEdit>(page, "API key"), "sk-later");
    press(page, "Check and Save");
    ASSERT_TRUE(until([&] { return find<QPushButton>(page, "Check and Save")->isEnabled(); }));
    press(page, "Save Anyway");
    EXPECT_TRUE(until([&] { return shows(page, "Saved without a check."); }));
    EXPECT_FALSE(world.secrets.secrets.empty());
}

TEST_F(SettingsTest, OffersTheEffortsOfTheModelAndStoresWhatIsChosen) {
    world.defaults.set("provider", "anthropic");
    BrainPage page(services);
    page.show();
    auto* providers = find<QComboBox>(page, "Provider");
    auto* models = find<QComboBox>(page, "Model");
    auto* efforts = find<QComboBox>(page, "Effort");
    EXPECT_EQ(providers->currentText(), "Anthropic");
    EXPECT_EQ(efforts->currentText(), "Fixed by this model");
    models->setEditText("claude-opus-4-5-20251101");
    emit models->lineEdit()->editingFinished();
    EXPECT_EQ(world.defaults.string("brainModel"), "claude-opus-4-5-20251101");
    EXPECT_EQ(efforts->count(), 4);
    EXPECT_EQ(efforts->currentText(), "Low — fast");
    providers->setCurrentIndex(providers->findText("OpenAI"));
    emit providers->activated(providers->currentIndex());
    EXPECT_EQ(world.defaults.string("provider"), "openai");
    EXPECT_EQ(world.defaults.string("brainModel"), "");
    EXPECT_EQ(models->currentText(), "Provider default");
}

TEST_F(SettingsTest, ListsFiveHundredVoicesFiltersAndPlaysThem) {
    for (int number = 0; number < 500; ++number)
        world.previews.installed.push_back(
            {"v" + std::to_string(number), "Voice " + std::to_string(number) + std::string(80, 'x'),
             "fr-FR", VoiceQuality::compact});
    VoicePage page(services);
    page.show();
    auto* list = find<QListWidget>(page, "Voices");
    ASSERT_TRUE(until([&] { return list->count() == 505; }));
    EXPECT_EQ(list->item(0)->text(), "Automatic (best installed)");
    EXPECT_TRUE(list->item(1)->text().startsWith("English (Great Britain)"));
    QTest::keyClicks(find<QLineEdit>(page, "Search voices"), "samantha");
    EXPECT_TRUE(list->item(1)->isHidden());
    list->setCurrentRow(3);
    EXPECT_EQ(world.defaults.string("voiceId"), "enhanced");
    world.previews.utteranceTime = 60000;
    press(page, "Hear a sample of this voice");
    EXPECT_TRUE(until([&] { return !world.previews.spoken().empty(); }));
    EXPECT_THAT(world.previews.spoken(), ElementsAre("Hi, I'm Tavik. This is how I sound."));
    press(page, "Stop preview of Samantha");
    EXPECT_FALSE(world.previews.isSpeaking());
    list->setCurrentRow(0);
    EXPECT_EQ(world.defaults.string("voiceId"), "");
}

TEST_F(SettingsTest, ChangesTheMicrophoneAndKeepsOneThatIsGone) {
    world.defaults.set("micDevice", "Old microphone");
    VoicePage page(services);
    page.show();
    auto* devices = find<QComboBox>(page, "Microphone");
    ASSERT_TRUE(until([&] { return devices->count() == 4; }));
    EXPECT_EQ(devices->currentText(), "Old microphone (not connected)");
    world.state->startListening();
    ASSERT_TRUE(world.reaches(TavikPhase::Kind::idle));
    const int opens = world.audio.opens();
    devices->setCurrentIndex(devices->findText("Headset"));
    emit devices->activated(devices->currentIndex());
    EXPECT_EQ(world.defaults.string("micDevice"), "Headset");
    EXPECT_TRUE(until([&] { return world.audio.opens() > opens; }));
    EXPECT_TRUE(until([&] { return world.audio.openedDevice() == "mic.two"; }));
}

TEST_F(SettingsTest, CallsNoMicrophoneMissingWhileTheSoundServerIsGone) {
    world.defaults.set("micDevice", "Old microphone");
    world.audio.isDown = true;
    VoicePage page(services);
    page.show();
    auto* devices = find<QComboBox>(page, "Microphone");
    ASSERT_TRUE(until([&] { return shows(page, "The sound server does not answer."); }));
    EXPECT_EQ(devices->currentText(), "Old microphone");
    world.audio.isDown = false;
    page.hide();
    page.show();
    ASSERT_TRUE(until([&] { return devices->count() == 4; }));
    EXPECT_EQ(devices->currentText(), "Old microphone (not connected)");
    EXPECT_FALSE(shows(page, "The sound server does not answer."));
}

TEST_F(SettingsTest, RecordsAShortcutAndKeepsTheOldOneWhenItIsTaken) {
    ActivationPage page(services);
    page.show();
    auto* recorder = page.findChild<HotkeyRecorder*>();
    EXPECT_EQ(recorder->text(), "⌥Space");
    const auto record = [&](int key, Qt::KeyboardModifiers modifiers) {
        QTest::mouseClick(recorder, Qt::LeftButton);
        EXPECT_EQ(recorder->text(), "Press keys…");
        QTest::keyClick(recorder, Qt::Key_J); // alone it is no shortcut
        QTest::keyClick(recorder, Qt::Key_Shift, Qt::ShiftModifier);
        EXPECT_TRUE(recorder->isRecording());
        QTest::keyClick(recorder, static_cast<Qt::Key>(key), modifiers);
        EXPECT_FALSE(recorder->isRecording());
    };
    record(Qt::Key_K, Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    EXPECT_EQ(recorder->text(), "⌃⌥⌘K");
    EXPECT_THAT(world.shortcuts.registered,
                ElementsAre(testing::Key(std::pair(40U, 4096U + 2048U + 256U))));
    world.shortcuts.taken = {{38, 256}};
    record(Qt::Key_J, Qt::MetaModifier);
    EXPECT_TRUE(shows(page, "That shortcut is in use or unavailable. Choose another in Settings. "
                            "Your previous shortcut still works."));
    EXPECT_EQ(recorder->text(), "⌃⌥⌘K");
    EXPECT_EQ(world.defaults.number("hotkeyKeyCode"), 40);
    press(page, "Start with a keyboard shortcut");
    EXPECT_TRUE(world.shortcuts.registered.empty());
    world.shortcuts.taken = {{40, 4096 + 2048 + 256}};
    press(page, "Start with a keyboard shortcut");
    EXPECT_TRUE(shows(page, "That shortcut is in use or unavailable. Choose another in Settings."));
}

TEST_F(SettingsTest, TellsWhatADesktopThatAsksItsUserMakesOfTheShortcut) {
    world.shortcuts.asksTheUser = true;
    world.defaults.set("hotkeyKeyCode", 40);
    world.state->hotkey().applyFromDefaults();
    ActivationPage page(services);
    page.show();
    EXPECT_TRUE(shows(page, "Waiting for your desktop, which asks you about the shortcut."));
    const auto events = world.shortcuts.registered.at({40, 2048});
    events.granted("Meta+K");
    EXPECT_TRUE(until([&] { return shows(page, "On your desktop the keys are Meta+K."); }));
    events.lost({ShortcutError::userRefused, "no"});
    EXPECT_TRUE(until([&] {
        return shows(page, "That shortcut is in use or unavailable. Choose another in Settings.");
    }));
    page.showSettings();
    EXPECT_FALSE(find<QCheckBox>(page, "Start with a keyboard shortcut")->isChecked());
    EXPECT_TRUE(shows(page, "That shortcut is in use or unavailable. Choose another in Settings."));
}

TEST_F(SettingsTest, StoresTheSensitivityWithinItsRange) {
    ActivationPage page(services);
    page.show();
    auto* slider = find<QSlider>(page, "Wake sensitivity");
    EXPECT_EQ(slider->value(), 60);
    slider->setValue(200);
    EXPECT_EQ(world.defaults.number("wakeThreshold"), 0.95);
    slider->setValue(0);
    EXPECT_EQ(world.defaults.number("wakeThreshold"), 0.3);
    press(page, "Listen for “Hey Vessa”");
    EXPECT_EQ(world.defaults.boolean("wakeEnabled"), false);
}

TEST_F(SettingsTest, FindsConversationsAndClearsThemOnlyWhenConfirmed) {
    world.remember(10);
    MemoryPage page(services);
    page.show();
    page.refresh();
    const auto* list = find<QListView>(page, "Conversations")->model();
    ASSERT_TRUE(until([&] { return list->rowCount() == 10; }));
    QTest::keyClicks(find<QLineEdit>(page, "Search conversations"), "ITEM 7");
    ASSERT_TRUE(until([&] { return list->rowCount() == 1; }));
    find<QListView>(page, "Conversations")->setCurrentIndex(list->index(0, 0));
    ASSERT_TRUE(until([&] { return page.findChild<QPlainTextEdit*>()->isVisible(); }));
    EXPECT_EQ(page.findChild<QPlainTextEdit*>()->toPlainText(),
              "You: remind me of item 7\n\nTavik: I will.");
    find<QLineEdit>(page, "Search conversations")->clear();
    ASSERT_TRUE(until([&] { return list->rowCount() == 10; }));
    answerNextQuestion("Cancel");
    press(page, "Clear All History…");
    EXPECT_EQ(list->rowCount(), 10);
    answerNextQuestion("Clear All History");
    press(page, "Clear All History…");
    EXPECT_TRUE(until([&] { return list->rowCount() == 0; }));
    EXPECT_TRUE(until([&] { return shows(page, "No conversations yet."); }));
    EXPECT_TRUE(world.memory->turns("conversation-3").empty());
}

TEST_F(SettingsTest, CopiesTheConfigurationAndLetsAgentsIn) {
    IntegrationsPage page(services);
    page.show();
    EXPECT_TRUE(shows(page, "Off by default. While off, Tavik reports zero tools to any connected "
                            "agent — nothing to call, nothing that can fail or loop. Nothing "
                            "speaks or acts on your behalf until you turn this on."));
    press(page, "Allow external agents (MCP)");
    EXPECT_EQ(world.defaults.boolean("mcpEnabled"), true);
    EXPECT_TRUE(shows(page, "Cursor and Claude Code can reach Tavik right now, if they have the "
                            "configuration below."));
    press(page, "Copy configuration");
    EXPECT_EQ(Json::parse(QApplication::clipboard()->text().toStdString()),
              Json::parse(mcpConfigJSON()));
    EXPECT_TRUE(find<QPushButton>(page, "Copied"));
    EXPECT_TRUE(
        until([&] { return page.findChild<QPushButton*>()->text() == "Copy configuration"; }));
}

TEST_F(SettingsTest, ShowsWhatIsChangedByHandAndLosesNothingOfIt) {
    const std::string path = world.folder.file("settings.json");
    SettingsWindow window(services);
    window.show();
    ASSERT_TRUE(until([&] { return find<QComboBox>(window, "Provider")->isVisible(); }));
    writeFile(path, R"({"provider": "openai", "wakeThreshold": 0.8, "wakeEnabled": false,
                        "mcpEnabled": true, "voiceId": "enhanced", "micDevice": "Headset",
                        "verbosity": "detailed", "hotkeyKeyCode": 96, "mine": [1, 2]})");
    EXPECT_TRUE(
        until([&] { return find<QComboBox>(window, "Provider")->currentText() == "OpenAI"; }));
    EXPECT_EQ(find<QComboBox>(window, "Length")->currentText(), "Detailed");
    window.open(SettingsWindow::activationPage);
    EXPECT_EQ(find<QSlider>(window, "Wake sensitivity")->value(), 80);
    EXPECT_FALSE(find<QCheckBox>(window, "Listen for “Hey Vessa”")->isChecked());
    EXPECT_EQ(window.findChild<HotkeyRecorder*>()->text(), "⌥F5");
    EXPECT_THAT(world.shortcuts.registered, ElementsAre(testing::Key(std::pair(96U, 2048U))));
    window.open(SettingsWindow::voicePage);
    EXPECT_TRUE(until([&] { return find<QListWidget>(window, "Voices")->currentRow() == 3; }));
    EXPECT_EQ(find<QComboBox>(window, "Microphone")->currentText(), "Headset");
    window.open(SettingsWindow::integrationsPage);
    const Json before = *parseJson(readFile(path));
    press(window, "Allow external agents (MCP)");
    Json after = *parseJson(readFile(path));
    EXPECT_EQ(after["mcpEnabled"], false);
    after["mcpEnabled"] = true;
    EXPECT_EQ(after, before) << "showing what others wrote writes nothing";
    writeFile(path, R"({"mine": [1, 2)");
    EXPECT_TRUE(until([&] { return world.defaults.string("provider") == std::nullopt; }));
    press(window, "Allow external agents (MCP)");
    EXPECT_EQ(world.defaults.boolean("mcpEnabled"), true);
    EXPECT_EQ(readFile(path + ".unreadable"), R"({"mine": [1, 2)");
}

TEST_F(SettingsTest, IsNoWiderForManyAndLongNames) {
    const std::string longName = std::string(300, 'W') + " & Söhne";
    world.defaults.set("brainModel", longName);
    world.defaults.set("micDevice", longName);
    world.defaults.set("voiceId", "long");
    world.previews.installed.push_back({"long", longName, "en-GB", VoiceQuality::premium});
    for (int number = 0; number < 50; ++number)
        world.audio.devices.push_back({10U + static_cast<unsigned>(number),
                                       fmt::format("mic.{}", number),
                                       longName + std::to_string(number),
                                       {16000, 1}});
    writeOldConversations(world.folder.file("Memory.store"), 10, longName);
    SettingsWindow window(services);
    window.show();
    for (int index = SettingsWindow::brainPage; index <= SettingsWindow::integrationsPage;
         ++index) {
        window.open(index);
        const auto* page =
            qobject_cast<QScrollArea*>(window.findChild<QStackedWidget*>()->currentWidget());
        if (index == SettingsWindow::voicePage) {
            auto* microphones = find<QComboBox>(window, "Microphone");
            ASSERT_TRUE(until([&] { return microphones->count() > 50; }));
            world.previews.utteranceTime = 60000;
            press(window, "Hear a sample of this voice");
        }
        if (index == SettingsWindow::memoryPage) {
            auto* list = find<QListView>(window, "Conversations");
            ASSERT_TRUE(until([&] { return list->model()->rowCount() == 10; }));
            list->setCurrentIndex(list->model()->index(0, 0));
            const auto* said = page->findChild<QPlainTextEdit*>();
            ASSERT_TRUE(until([&] { return said->isVisible(); }));
        }
        QCoreApplication::processEvents();
        EXPECT_LE(page->widget()->width(), page->viewport()->width()) << "page " << index;
    }
    EXPECT_LE(window.minimumSizeHint().width(), 820);
}

TEST_F(SettingsTest, ListsTenThousandConversations) {
    writeOldConversations(world.folder.file("Memory.store"), 10'000);
    MemoryPage page(services);
    page.show();
    page.refresh();
    auto* list = find<QListView>(page, "Conversations");
    ASSERT_TRUE(until([&] { return list->model()->rowCount() == 10'000; }));
    list->scrollToBottom();
    EXPECT_TRUE(
        list->model()->index(9'999, 0).data().toString().endsWith("You asked for item 9999."));
    QTest::keyClicks(find<QLineEdit>(page, "Search conversations"), "item 9998");
    EXPECT_TRUE(until([&] { return list->model()->rowCount() == 1; }));
}

} // namespace tavik
