#include "platform/json/Json.h"

namespace tavik {

TEST(Json, KeepsTheOrderOfKeysOnTheWayThrough) {
    const std::string text = R"({"z":1,"a":{"y":[1,2.5,null],"b":"é"}})";
    EXPECT_EQ(compactJson(*parseJson(text)), text);
}

TEST(Json, SortsKeysAtEveryLevelForComparison) {
    EXPECT_EQ(sortedJson(*parseJson(R"({"z":1,"a":{"y":1,"b":2}})")),
              sortedJson(*parseJson(R"({"a":{"b":2,"y":1},"z":1})")));
}

TEST(Json, RefusesWhatIsNoJson) {
    for (const char* text : {"", "{", "{\"a\":1}}", "nul", "\"\xFF\"", "[1,]"})
        EXPECT_FALSE(parseJson(text)) << text;
}

TEST(Json, RefusesDeepNestingWithoutFalling) {
    const auto nested = [](std::size_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    EXPECT_TRUE(parseJson(nested(500)));
    EXPECT_FALSE(parseJson(nested(100'000)));
}

TEST(Json, WritesBytesThatAreNoTextAsReplacements) {
    EXPECT_EQ(compactJson(Json{{"a", "x\xFFy"}}), "{\"a\":\"x\xEF\xBF\xBDy\"}");
}

TEST(Json, LooksUpMembersOfAnything) {
    const Json value = {{"text", "hello"}, {"number", 3}};
    EXPECT_EQ(stringMember(value, "text"), "hello");
    EXPECT_EQ(stringMember(value, "number"), std::nullopt);
    EXPECT_EQ(stringMember(value, "none"), std::nullopt);
    EXPECT_EQ(member(Json::array(), "text"), nullptr);
}

} // namespace tavik
