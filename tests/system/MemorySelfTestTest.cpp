#include "tests/system/RunningTavik.h"
#include "tools/stand-ins/http/RawServer.h"
#include "tools/stand-ins/model/ScriptedModel.h"

#include <thread>

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace tavik {

namespace {

constexpr const char* ownWords =
    "You asked Tavik \"What's a good name for a golden retriever puppy?\" and it answered \"How "
    "about Biscuit, Maple, or Scout?\"";
constexpr const char* modelList = R"({"object":"list","data":[{"id":"m"}]})";

// What follows `marker` in its line.
std::string restOfLine(const std::string& output, const std::string& marker) {
    const std::size_t at = output.find(marker);
    if (at == std::string::npos)
        return "(" + marker + " is missing)";
    const std::size_t begin = at + marker.size();
    return output.substr(begin, output.find('\n', begin) - begin);
}

// The self-test, from its beginning on.
class MemorySelfTest : public RunningTavik {
public:
    explicit MemorySelfTest(const Json& settings)
        : RunningTavik({"--selftest-memory"}, settings) {}

    static Json settingsFor(const std::string& server) {
        return {{"localModelURL", server}, {"localModel", "m"}};
    }

    // Ends within `patience`, and has recalled and found just the one conversation as `sentence`.
    void expectPass(const std::string& sentence, std::chrono::milliseconds patience = 20s) {
        EXPECT_EQ(process().waitFor(patience), 0);
        const auto result = [this](const std::string& step) {
            return restOfLine(output(), "[selftest-memory] " + step);
        };
        EXPECT_EQ(result("recorded 2 turns for session ").size(), std::string(36, 'x').size());
        EXPECT_EQ(result("PASS recap: "), "[Recent memory — your last conversation with the user "
                                          "ended moments ago: " +
                                              sentence + "]");
        const std::string line = result("search(\"puppy\"): ");
        EXPECT_THAT(line, EndsWith(": " + sentence));
        EXPECT_THAT(output(), HasSubstr("search(\"quantum physics\"): No match for \"quantum "
                                        "physics\" in that range — here's what's on record "
                                        "recently instead:\n" +
                                        line + "\n"));
        EXPECT_EQ(result("DONE"), " (seeded conversation left in the store)");
    }

    std::string availability() const {
        return restOfLine(output(), "[selftest-memory] model availability: ");
    }
};

// Lists its model, and then answers drop by drop.
void answerInDrops(Peer& peer) {
    while (peer.readRequest().starts_with("GET"))
        peer.write(okReply(modelList));
    std::string_view drop = "HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n";
    while (peer.write(drop)) {
        drop = " ";
        std::this_thread::sleep_for(100ms);
    }
}

// A home folder of 64 KiB, which is too little for the store, in a program of its own.
class OnFullDisk {
public:
    explicit OnFullDisk(const char* argument)
        : tavik({.arguments = {"unshare", "--user", "--map-root-user", "--mount", "sh", "-c",
                               "mount -t tmpfs -o size=64k none \"$HOME\" && echo begun && "
                               "exec \"$0\" $1",
                               TAVIK_PROGRAM, argument},
                 .environment = {{"HOME", home.path()}},
                 .outputPath = outside.file("output"),
                 .input = ""}) {}

    ChildProcess& process() { return tavik; }
    std::string output() const { return readFile(outside.file("output")); }

private:
    const TemporaryFolder home;
    const TemporaryFolder outside;
    ChildProcess tavik; // last: it uses the folders
};

} // namespace

TEST(MemorySelfTestRun, RemembersOnItsOwn) {
    MemorySelfTest test(nullptr);
    test.expectPass(ownWords);
    EXPECT_EQ(test.availability(), "built-in summaries (no local model is set)");
}

TEST(MemorySelfTestRun, RemembersWhateverAModelOnThisMachineSays) {
    constexpr const char* sentence = "You asked Tavik to name a puppy and it proposed Biscuit.";
    const std::string quoted = "\"" + std::string(sentence) + "\"";
    const struct {
        ModelReply reply;
        const char* remembered;
    } cases[] = {
        {say(sentence), sentence},
        {say("Summary: " + quoted), sentence},
        {say("Sure! Here's the summary:\n\n**Note:** " + quoted + "\n"), sentence},
        {say("<think>A note.</think>\n“" + std::string(sentence) + "”"), sentence},
        {say(""), ownWords},
        {say("{\"summary\": " + quoted + "}"), ownWords},
        {say(std::string(400'000, 'x')), ownWords},
        {failWith(500, "out of memory"), ownWords},
        {failWith(404, "no such model"), ownWords},
        {cutConnection(), ownWords},
        {{.rawBody = "no JSON"}, ownWords},
        {{.rawBody = "<!DOCTYPE html><html><body>Welcome</body></html>"}, ownWords},
    };
    for (const auto& [reply, remembered] : cases) {
        SCOPED_TRACE(reply.text.substr(0, 60) + reply.rawBody);
        ScriptedModel model;
        model.servePage("/v1/models", modelList, "application/json");
        model.replyNext({reply});
        MemorySelfTest test(MemorySelfTest::settingsFor(model.host()));
        test.expectPass(remembered);
        EXPECT_EQ(test.availability(), "local model m at " + model.host());
    }
}

TEST(MemorySelfTestRun, WaitsForAModelWithinBounds) {
    ScriptedModel slow;
    slow.servePage("/v1/models", modelList, "application/json");
    slow.replyNext({{.text = "Too late.", .delay = 60s}});
    const RawServer dripping(answerInDrops);
    const RawServer silent([](Peer& peer) { peer.waitForEnd(); });
    const FullListener full;
    MemorySelfTest tests[] = {MemorySelfTest(MemorySelfTest::settingsFor(slow.host())),
                              MemorySelfTest(MemorySelfTest::settingsFor(dripping.url(""))),
                              MemorySelfTest(MemorySelfTest::settingsFor(silent.url(""))),
                              MemorySelfTest(MemorySelfTest::settingsFor(full.url()))};
    for (MemorySelfTest& test : tests)
        test.expectPass(ownWords, 25s); // all of them together
    for (const MemorySelfTest* test : {&tests[2], &tests[3]})
        EXPECT_THAT(test->availability(), EndsWith(" does not answer)"));
}

TEST(MemorySelfTestRun, SaysThatTheStoreIsDamagedAndGoesOn) {
    const TemporaryFolder home;
    const std::string path = home.file("Library/Application Support/Tavik/Memory.store");
    const std::string damaged(10'000, 'x');
    writeFile(path, damaged);
    ChildProcess tavik({.arguments = {TAVIK_PROGRAM, "--selftest-memory"},
                        .environment = {{"HOME", home.path()}},
                        .outputPath = home.file("output"),
                        .input = ""});
    EXPECT_EQ(tavik.waitFor(20s), 0);
    const std::string output = readFile(home.file("output"));
    EXPECT_THAT(output, HasSubstr("[memory] store unavailable — original files preserved\n"));
    EXPECT_THAT(output, HasSubstr("[memory] ⚠ Conversation memory is unavailable: the history file "
                                  "is damaged. It has been left as it was.\n"));
    EXPECT_EQ(restOfLine(output, "[selftest-memory] FAIL"),
              " — no recap returned for a session recorded seconds ago");
    EXPECT_THAT(output, HasSubstr("search(\"puppy\"): Conversation memory is unavailable; the "
                                  "existing history files have been preserved.\n"));
    EXPECT_THAT(output, HasSubstr("DONE"));
    EXPECT_EQ(readFile(path), damaged);
}

TEST(MemorySelfTestRun, GoesOnWithAFullDiskAndTellsOfItOnce) {
    const std::string notice = "The disk is full, so conversations are not remembered for now.\n";
    OnFullDisk selfTest("--selftest-memory");
    const auto status = selfTest.process().waitFor(20s);
    const std::string output = selfTest.output();
    if (!output.starts_with("begun"))
        GTEST_SKIP() << "no file system of our own can be mounted here: " << output;
    EXPECT_EQ(status, 0);
    EXPECT_THAT(output, HasSubstr("[memory] ⚠ " + notice));
    EXPECT_EQ(output.find(notice), output.rfind(notice));
    EXPECT_THAT(output, HasSubstr("[selftest-memory] FAIL"));
    EXPECT_THAT(output, HasSubstr("DONE"));

    OnFullDisk app("");
    const auto says = [&](const std::string& text) {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (app.output().find(text) == std::string::npos &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(20ms);
        return app.output().find(text) != std::string::npos;
    };
    EXPECT_TRUE(says("[tavik] " + notice));
    EXPECT_TRUE(says("Listening is off."));
    EXPECT_EQ(app.process().terminate(5s), 0);
}

} // namespace tavik
