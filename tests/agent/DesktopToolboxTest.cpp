#include "agent/DesktopToolbox.h"
#include "agent/BuiltInTools.h"
#include "tests/agent/FakeApplications.h"
#include "tests/agent/ScriptedBrain.h"

namespace tavik {
namespace {

using testing::ElementsAre;

class DesktopToolboxTest : public testing::Test {
protected:
    ToolServices services() {
        return {&http, &applications, &hub, [this](const std::string& query, int days) {
                    recalled = query + " of " + std::to_string(days) + " days";
                    return "Something.";
                }};
    }

    std::string execute(const std::string& name, const Json& arguments, std::stop_token stop = {}) {
        return toolbox.execute({"id", name, arguments}, brain, stop);
    }

    ScriptedBrain brain;
    FakeHttpSession http;
    FakeApplications applications;
    std::optional<EngineLaunch> engine; // none is installed
    MCPHub hub{[this] { return engine ? engine : EngineLaunch{"/nonexistent", {}}; }};
    std::string recalled;
    DesktopToolbox toolbox{builtInToolSpecs(), std::nullopt, services()};
};

TEST_F(DesktopToolboxTest, ArgumentsOfTheWrongShapeGiveASentence) {
    struct Case {
        const char* name;
        Json arguments;
        const char* text;
    };
    const Case cases[] = {
        {"open_app", Json::object(), "Missing app name."},
        {"open_url", Json::object(), "Invalid URL."},
        {"recall_conversations", {{"query", 1}}, "Missing search query."},
        {"web_search", Json::object(), "Missing search query."},
        {"web_search", {{"query", ""}}, "Missing search query."},
        {"web_search", {{"query", 7}}, "Missing search query."},
        {"web_search", Json::array({"query"}), "Missing search query."},
        {"web_search", nullptr, "Missing search query."},
        {"fetch_url", Json::object(), "Missing URL."},
        {"fetch_url", {{"url", Json::array({"http://x"})}}, "Missing URL."},
        {"end_conversation", Json::object(), "TOOL ERROR: This tool is not available to Tavik."},
        {"ax_snapshot", Json::object(), "TOOL ERROR: This tool is not available to Tavik."},
        {"", Json::object(), "TOOL ERROR: This tool is not available to Tavik."},
    };
    for (const Case& example : cases)
        EXPECT_EQ(execute(example.name, example.arguments), example.text)
            << example.name << example.arguments;
    EXPECT_TRUE(brain.searches.empty());
    EXPECT_TRUE(http.requests.empty());
}

TEST_F(DesktopToolboxTest, OpensApplicationsAndAddresses) {
    EXPECT_EQ(execute("open_app", {{"name", "Notes"}}),
              "Opened Notes. Give it a moment to appear, then check it with ax_snapshot.");
    EXPECT_EQ(execute("open_app", {{"name", "Nots"}}),
              "No app named \"Nots\" was found on this Mac.");
    EXPECT_EQ(execute("open_app", {{"name", "Broken"}}),
              "Couldn't launch Broken: it ended at once");
    EXPECT_EQ(execute("open_url", {{"url", "https://a.test/"}}),
              "Opened https://a.test/ in the default browser.");
    EXPECT_EQ(execute("open_url", {{"url", "file:///etc/passwd"}}), "Invalid URL.");
}

TEST_F(DesktopToolboxTest, RecallsWithinAYear) {
    const std::pair<Json, int> reaches[] = {{nullptr, 30}, {"7", 30}, {7, 7},      {0, 1},
                                            {-3, 1},       {1.9, 1},  {1000, 365}, {1e300, 365}};
    for (const auto& [days, expected] : reaches) {
        EXPECT_EQ(execute("recall_conversations", {{"query", "tea"}, {"daysBack", days}}),
                  "Something.");
        EXPECT_EQ(recalled, "tea of " + std::to_string(expected) + " days") << days;
    }
    execute("recall_conversations", {{"query", ""}});
    EXPECT_EQ(recalled, " of 30 days");
}

TEST_F(DesktopToolboxTest, OffersAndRunsTheEnginesToolsThatAreAllowed) {
    EXPECT_EQ(DesktopToolbox::build({}, services()).vamoUnavailable(),
              "the desktop-control engine failed to start");
    engine = EngineLaunch{TAVIK_SCRIPTED_ENGINE, {}};
    setenv("TAVIK_TEST_TOOLS", R"({"tools":[{"name":"raw"}]})", 1);
    EXPECT_EQ(DesktopToolbox::build({}, services()).vamoUnavailable(),
              "the desktop-control engine exposed no usable tools");

    setenv("TAVIK_TEST_TOOLS", R"({"tools":[{"name":"scroll"},{"name":"read_text"},
        {"name":"select_option","description":"its own"},{"name":"raw"}]})",
           1);
    MCPHub other{[this] { return engine; }};
    auto around = services();
    around.engine = &other;
    toolbox = DesktopToolbox::build({}, around);
    unsetenv("TAVIK_TEST_TOOLS");
    EXPECT_EQ(toolbox.vamoUnavailable(), std::nullopt);
    ASSERT_EQ(toolbox.specs().size(), builtInToolSpecs().size() + 3);
    EXPECT_THAT(toolbox.specs().back().description,
                testing::StartsWith("Select an option from a native dropdown"));
    EXPECT_EQ(execute("scroll", {{"by", 3}}), R"(scroll {"by":3,"verify":true})");
    EXPECT_EQ(execute("read_text", nullptr), "read_text {}");
    EXPECT_EQ(execute("raw", Json::object()), "TOOL ERROR: This tool is not available to Tavik.");
    const std::string exact(16'000 - std::string("read_text {\"x\":\"\"}").size(), 'x');
    EXPECT_EQ(execute("read_text", {{"x", exact}}).size(), 16'000u);
    EXPECT_EQ(execute("read_text", {{"x", exact + "é"}}),
              "read_text {\"x\":\"" + exact + "é\"\n…[truncated]");
    EXPECT_EQ(execute("read_text", {{"blocked", true}}),
              "TOOL ERROR: read_text {\"blocked\":true}");
    EXPECT_EQ(execute("read_text", {{"exit", true}}),
              "TOOL ERROR: The desktop-control engine stopped unexpectedly.");
}

TEST_F(DesktopToolboxTest, AFailedSearchIsASentence) {
    brain.search = [](const std::string&, std::stop_token) -> std::string {
        throw BrainError("The web search returned nothing.");
    };
    EXPECT_EQ(execute("web_search", {{"query", "x"}}),
              "Web search failed: The web search returned nothing.");
}

TEST_F(DesktopToolboxTest, AStopIsATextToo) {
    std::stop_source stop;
    brain.search = [&stop](const std::string&, std::stop_token token) -> std::string {
        stop.request_stop();
        waitForStop(token);
        return "";
    };
    for (int time = 0; time < 2; ++time)
        EXPECT_EQ(execute("web_search", {{"query", "x"}}, stop.get_token()),
                  "TOOL ERROR: Cancelled before execution.");
    EXPECT_EQ(brain.searches.size(), 1u);
}

} // namespace
} // namespace tavik
