#pragma once

#include "app/AppServices.h"
#include "app/AppState.h"
#include "app/AppUpdater.h"
#include "platform/concurrency/MainJobs.h"
#include "platform/concurrency/Task.h"

#include <memory>

namespace tavik {

// The long-lived parts, with or without windows, in the order in which they start and end. Belongs
// to the main thread.
class TavikApp {
public:
    // Boots the state and serves external agents, and with `WithUpdater::yes` looks for newer
    // releases. Nothing listens yet.
    enum class WithUpdater { no, yes };
    explicit TavikApp(WithUpdater withUpdater = WithUpdater::yes);
    // Ends the agents' socket and the desktop-control engine, for which it waits a second at most,
    // then the listening.
    ~TavikApp();
    TavikApp(const TavikApp&) = delete;
    TavikApp& operator=(const TavikApp&) = delete;

    AppState& state() { return *appState; }
    AppServices& services() { return *appServices; }

private:
    MainJobs onMain;
    Task<void> keyMigration;
    std::unique_ptr<AppServices> appServices;
    std::unique_ptr<AppState> appState;
    std::unique_ptr<AppUpdater> updater;
};

// Also for the runs that need nothing else of this: ends the agents' socket and the engine.
void endServices();

} // namespace tavik
