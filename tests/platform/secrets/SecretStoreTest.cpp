#include "platform/secrets/SecretStore.h"

#include "platform/concurrency/Cancelled.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/services/PrivateKeyring.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testing::HasSubstr;

const SecretName name = {"ai.example", "somebody"};

std::chrono::milliseconds timeOf(const std::function<void()>& work) {
    const auto started = steady_clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - started);
}

// Its kind and number; none when it succeeds.
std::optional<std::pair<SecretFailure, int>> failureOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const SecretStoreError& error) {
        return std::pair(error.failure, error.status);
    }
    return std::nullopt;
}

class SecretStoreTest : public testing::Test {
protected:
    SecretStoreTest() { useBus(keyring.address()); }
    ~SecretStoreTest() override { useBus("disabled:"); }

    static void useBus(const std::string& address) {
        setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    }

    std::optional<std::string> found() { return store->lookUp(name, {}); }
    void add(const std::string& value) { store->add(name, "Key of somebody", value, {}); }

    std::vector<std::string> attributes() const {
        return {"service", name.service, "account", name.account};
    }
    std::string secretTool(std::vector<std::string> command, const std::string& input = "") {
        for (const std::string& word : attributes())
            command.push_back(word);
        return keyring.secretTool(command, input);
    }

    // All operations fail, side by side, each within its time and a little more for a busy machine.
    void expectFailures(SecretFailure kind, int status,
                        std::chrono::milliseconds limitOfLookUp = 100ms,
                        std::chrono::milliseconds limitOfChange = 100ms) {
        const std::pair<std::function<void()>, std::chrono::milliseconds> operations[] = {
            {[this] { found(); }, limitOfLookUp},
            {[this] { EXPECT_FALSE(store->update(name, "new", {})); }, limitOfChange},
            {[this] { add("new"); }, limitOfChange},
            {[this] { store->remove(name, {}); }, limitOfChange},
        };
        std::vector<std::jthread> threads;
        for (const auto& [work, limit] : operations)
            threads.emplace_back([kind, status, &operation = work, most = limit + 300ms] {
                EXPECT_LT(timeOf([&] { EXPECT_EQ(failureOf(operation), std::pair(kind, status)); }),
                          most);
            });
    }

    PrivateKeyring keyring;
    const std::unique_ptr<SecretStore> store = makeSecretStore();
};

} // namespace

TEST_F(SecretStoreTest, KeepsUpdatesAndRemovesASecret) {
    EXPECT_EQ(found(), std::nullopt);
    EXPECT_FALSE(store->update(name, "nothing to update", {}));
    EXPECT_EQ(found(), std::nullopt);
    const std::string odd("schlüssel \n\0 end ", 19);
    for (const std::string& value : {std::string("first"), odd, std::string()}) {
        add(value);
        EXPECT_EQ(found(), value);
        EXPECT_TRUE(store->update(name, "second", {}));
        EXPECT_EQ(found(), "second");
        EXPECT_EQ(store->lookUp({name.service, "another"}, {}), std::nullopt);
        EXPECT_EQ(store->lookUp({"another", name.account}, {}), std::nullopt);
        store->remove(name, {});
        EXPECT_EQ(found(), std::nullopt);
        store->remove(name, {});
    }
}

TEST_F(SecretStoreTest, SharesItsItemsWithOtherPrograms) {
    add("ours");
    EXPECT_EQ(secretTool({"lookup"}), "ours");
    EXPECT_THAT(secretTool({"search", "--all"}), HasSubstr("label = Key of somebody\n"));
    secretTool({"clear"});
    EXPECT_EQ(found(), std::nullopt);

    secretTool({"store", "--label=Theirs"}, "theirs");
    EXPECT_EQ(found(), "theirs");
    EXPECT_TRUE(store->update(name, "changed", {}));
    EXPECT_EQ(secretTool({"lookup"}), "changed");
    EXPECT_THAT(secretTool({"search", "--all"}), HasSubstr("label = Theirs\n"));

    secretTool({"store", "--label=Session", "--collection=session"}, "a second one");
    EXPECT_TRUE(store->update(name, "both", {}));
    EXPECT_EQ(found(), "both");
    store->remove(name, {});
    EXPECT_EQ(found(), std::nullopt) << "none of the two is left";
}

TEST_F(SecretStoreTest, AsksNobodyWhenTheKeyringIsLocked) {
    const TemporaryFolder folder;
    const auto prompts = [&] { return readFile(folder.file("prompts")); };
    ChildProcess monitor({.arguments = {"dbus-monitor", "--address", keyring.address(),
                                        "interface='org.freedesktop.Secret.Prompt'"},
                          .environment = {},
                          .outputPath = folder.file("prompts"),
                          .input = ""});
    while (prompts().empty())
        std::this_thread::sleep_for(5ms);
    setenv("DISPLAY", ":99", 1); // where prompts could be seen
    keyring.lock();
    expectFailures(SecretFailure::locked, -2002);
    keyring.restart();
    add("a secret");
    keyring.lock();
    expectFailures(SecretFailure::locked, -2002);
    unsetenv("DISPLAY");

    EXPECT_ANY_THROW(keyring.call({"org.freedesktop.secrets", "/the/first/prompt",
                                   "org.freedesktop.Secret.Prompt.Prompt", "string:"}));
    while (prompts().find("/the/first/prompt") == std::string::npos && monitor.isRunning())
        std::this_thread::sleep_for(5ms);
    EXPECT_EQ(prompts().find("member=Prompt\n"), prompts().rfind("member=Prompt\n")) << prompts();
    EXPECT_THAT(prompts(), HasSubstr("member=Prompt\n"));

    keyring.restart();
    EXPECT_EQ(found(), "a secret");
}

TEST_F(SecretStoreTest, DoesNotMakeTheKeyringThatAUserNeverMade) {
    keyring.restartAsNew();
    EXPECT_EQ(found(), std::nullopt);
    EXPECT_EQ(failureOf([&] { add("a secret"); }), std::pair(SecretFailure::locked, -2002));
}

TEST_F(SecretStoreTest, FailsAtOnceWhereThereIsNoService) {
    add("a secret");
    keyring.keyring().kill();
    expectFailures(SecretFailure::noService, -3002);
    const std::pair<const char*, int> addresses[] = {{"", -1001},
                                                     {"disabled:", -1013},
                                                     {"no address", -1013},
                                                     {"unix:path=/nonexistent", -1001}};
    for (const auto& [address, status] : addresses) {
        useBus(address);
        expectFailures(SecretFailure::noService, status);
    }
    keyring.restart();
    useBus(keyring.address());
    EXPECT_EQ(found(), "a secret") << "the service is back";
}

TEST_F(SecretStoreTest, DoesNotWaitLongForAServiceOrABusThatHangs) {
    add("a secret");
    for (ChildProcess* hanging : {&keyring.keyring(), &keyring.bus()}) {
        hanging->suspend();
        expectFailures(SecretFailure::timedOut, -1024, 1s, 3s);
        hanging->resume();
        EXPECT_NE(found(), std::nullopt);
        keyring.restart();
    }
}

TEST_F(SecretStoreTest, SurvivesTheEndOfTheServiceAndOfTheBusInTheMiddleOfACall) {
    add("a secret");
    for (const bool isBusToEnd : {false, true}) {
        keyring.keyring().suspend();
        std::jthread killer([&] {
            std::this_thread::sleep_for(200ms);
            (isBusToEnd ? keyring.bus() : keyring.keyring()).kill();
        });
        const auto failure = failureOf([&] { found(); });
        ASSERT_NE(failure, std::nullopt) << "there was nobody to answer";
        EXPECT_EQ(failure->first, SecretFailure::noService) << failure->second;
        killer.join();
        keyring.restart();
        EXPECT_EQ(found(), "a secret");
    }
}

TEST_F(SecretStoreTest, ObeysAStopWhereverItWaits) {
    for (ChildProcess* waitedFor : {&keyring.keyring(), &keyring.bus()}) {
        waitedFor->suspend();
        EXPECT_LT(timeToCancel([&](std::stop_token stop) { store->lookUp(name, stop); }), 50ms);
        EXPECT_LT(timeToCancel([&](std::stop_token stop) { store->add(name, "l", "v", stop); }),
                  50ms);
        waitedFor->resume();
    }
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(store->remove(name, stopped.get_token()), Cancelled);
}

TEST_F(SecretStoreTest, ServesManyThreadsAtOnce) {
    add("a secret");
    std::vector<std::jthread> threads;
    for (int count = 0; count < 8; ++count)
        threads.emplace_back([&] {
            for (int round = 0; round < 5; ++round)
                EXPECT_EQ(found(), "a secret");
        });
}

} // namespace tavik
