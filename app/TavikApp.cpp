#include "app/TavikApp.h"

#include "app/KeyMigration.h"
#include "app/Log.h"
#include "mcp/MCPHub.h"
#include "mcp/server/MCPServer.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/desktop/BoundedCall.h"
#include "platform/desktop/DesktopContext.h"
#include "platform/hotkey/GlobalShortcuts.h"

namespace tavik {

namespace {

constexpr std::chrono::seconds patienceWithEngine{1};

} // namespace

TavikApp::TavikApp(WithUpdater withUpdater)
    : keyMigration(migrateKeysMeanwhile()) {
    prepareDesktopContext();
    // The memory may have something to tell before the state is made and after it is gone.
    appServices = std::make_unique<AppServices>([this](const std::string& sentence) {
        log("[tavik] " + sentence);
        onMain.async([=, this] { appState->showNotice(sentence); });
    });
    appState = std::make_unique<AppState>(appServices->forVoice(),
                                          makeGlobalShortcuts({"ai.tavik", "Talk to Tavik"}));
    appState->boot();
    MCPServer::shared().start();
    if (withUpdater == WithUpdater::yes)
        updater = std::make_unique<AppUpdater>(AppUpdater::Surroundings{
            UserDefaults::standard(), sharedHttpSession(), systemClock(), TAVIK_VERSION,
            [this](const std::string& sentence) { appState->notify(sentence); }});
}

TavikApp::~TavikApp() {
    updater.reset();
    endServices();
    appState.reset();
}

void endServices() {
    MCPServer::shared().stop();
    runWithin(patienceWithEngine, {}, [](std::stop_token) { MCPHub::shared().shutdown(); });
}

} // namespace tavik
