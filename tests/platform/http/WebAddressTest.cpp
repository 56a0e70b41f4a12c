#include "platform/http/WebAddress.h"

namespace tavik {

// Where a key may go over plain http hangs on this.
TEST(WebAddress, KnowsThisMachine) {
    const std::pair<const char*, bool> cases[] = {
        {"http://127.0.0.1:8080", true},
        {"http://127.255.3.4/", true},
        {"http://127.1/", true},
        {"http://LOCALHOST/", true},
        {"http://[::1]:80/", true},
        {"https://user@localhost/", true},
        {"http://127.0.0.1.example.com/", false},
        {"http://localhost.example.com/", false},
        {"http://example.com/127.0.0.1", false},
        {"http://127.0.0.1@example.com/", false},
        {"http://example.com#@localhost/", false},
        {"http://128.0.0.1/", false},
        {"http://0.0.0.0/", false},
        {"http://[::2]/", false},
    };
    for (const auto& [url, isLoopback] : cases) {
        const auto address = WebAddress::parse(url);
        ASSERT_TRUE(address) << url;
        EXPECT_EQ(address->isLoopback(), isLoopback) << url;
    }
}

TEST(WebAddress, ComparesOrigins) {
    const auto parse = [](const char* url) { return *WebAddress::parse(url); };
    const WebAddress origin = parse("https://Example.com/a");
    EXPECT_TRUE(origin.hasOriginOf(parse("HTTPS://example.com:443/b?c")));
    for (const char* url : {"http://example.com/", "https://example.com:444/",
                            "https://example.org/", "https://www.example.com/"})
        EXPECT_FALSE(origin.hasOriginOf(parse(url))) << url;
}

TEST(WebAddress, EscapesAPathComponent) {
    EXPECT_EQ(pathComponent("gemini-3.5_a~"), "gemini-3.5_a~");
    EXPECT_EQ(pathComponent("../x?k=1#é"), "..%2Fx%3Fk%3D1%23%C3%A9");
}

} // namespace tavik
