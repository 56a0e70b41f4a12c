#include "app/AppUpdater.h"

#include "platform/concurrency/Locked.h"
#include "platform/defaults/UserDefaults.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <thread>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace tavik {

namespace {

class Feed : public HttpSession {
public:
    HttpResponse send(const HttpRequest& request, std::stop_token) override {
        ++looks;
        if (request.url != "https://example.test/feed")
            throw TransportError(TransportFailure::cannotFindHost, "no such host");
        return {.status = 200, .headers = {}, .body = content};
    }
    std::string content;
    std::atomic<int> looks = 0;
};

} // namespace

TEST(AppUpdater, ComparesVersionsByTheirNumbers) {
    for (const auto& [version, isIt] :
         std::vector<std::pair<std::string, bool>>{{"0.2.0", true},
                                                   {"0.10", true},
                                                   {"1", true},
                                                   {"0.1.0", false},
                                                   {"0.0.9", false},
                                                   {"", false},
                                                   {"newest", false},
                                                   {"2.x", false},
                                                   {"9.9999999999999", false},
                                                   {std::string(40, '9'), false}})
        EXPECT_EQ(isNewer(version, "0.1.0"), isIt) << version;
}

TEST(AppUpdater, TellsOfANewerReleaseAndOfNothingElse) {
    const TemporaryFolder folder;
    UserDefaults defaults(folder.file("settings.json"));
    struct Case {
        std::string feed;
        std::string content;
        int looks;
        std::vector<std::string> told;
    };
    const std::vector<Case> cases = {
        {"", R"({"version": "0.2.0"})", 0, {}},
        {"https://example.test/feed",
         R"({"version": "0.2.0"})",
         1,
         {"Tavik 0.2.0 is available from your package manager."}},
        {"https://example.test/feed", R"({"version": "0.1.0"})", 1, {}},
        {"https://example.test/feed", R"({"version": 2})", 1, {}},
        {"https://example.test/feed", "no json", 1, {}},
        {"https://elsewhere.test", "", 1, {}},
    };
    for (const Case& each : cases) {
        defaults.set("updateFeed", each.feed);
        Feed session;
        session.content = each.content;
        Locked<std::vector<std::string>> told;
        {
            const AppUpdater updater(
                {defaults, session, systemClock(), "0.1.0", [&](const std::string& sentence) {
                     told.with([&](auto& all) { all.push_back(sentence); });
                 }});
            const auto deadline = std::chrono::steady_clock::now() + 5s;
            while (session.looks < each.looks && std::chrono::steady_clock::now() < deadline)
                std::this_thread::sleep_for(1ms);
        }
        EXPECT_EQ(session.looks, each.looks) << each.content;
        EXPECT_EQ(told.with([](auto& all) { return all; }), each.told) << each.content;
    }
}

} // namespace tavik
