#include "agent/DesktopToolbox.h"
#include "agent/BuiltInTools.h"
#include "tests/agent/ScriptedBrain.h"

namespace tavik {
namespace {

class DesktopToolboxTest : public testing::Test {
protected:
    std::string execute(const std::string& name, const Json& arguments, std::stop_token stop = {}) {
        return toolbox.execute({"id", name, arguments}, brain, stop);
    }

    ScriptedBrain brain;
    FakeHttpSession http;
    DesktopToolbox toolbox{builtInToolSpecs(), http};
};

TEST_F(DesktopToolboxTest, ArgumentsOfTheWrongShapeGiveASentence) {
    struct Case {
        const char* name;
        Json arguments;
        const char* text;
    };
    const Case cases[] = {
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
