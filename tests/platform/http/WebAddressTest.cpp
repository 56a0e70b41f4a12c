#include "platform/http/WebAddress.h"

namespace tavik {

// Where a key may go over plain http hangs on this.
TEST(WebAddress, KnowsThisMachine) {
    for (const char* url : {"http://127.0.0.1:8080", "http://127.255.3.4/", "http://127.1/",
                            "http://LOCALHOST/", "http://[::1]:80/", "https://user@localhost/"})
        EXPECT_TRUE(WebAddress::parse(url).value().isLoopback()) << url;
    for (const char* url : {"http://127.0.0.1.example.com/", "http://localhost.example.com/",
                            "http://example.com/127.0.0.1", "http://127.0.0.1@example.com/",
                            "http://example.com#@localhost/", "http://128.0.0.1/",
                            "http://0.0.0.0/", "http://[::2]/"})
        EXPECT_FALSE(WebAddress::parse(url).value().isLoopback()) << url;
}

TEST(WebAddress, ComparesOrigins) {
    const WebAddress origin = WebAddress::parse("https://Example.com/a").value();
    EXPECT_TRUE(origin.hasOriginOf(WebAddress::parse("HTTPS://example.com:443/b?c").value()));
    for (const char* url : {"http://example.com/", "https://example.com:444/",
                            "https://example.org/", "https://www.example.com/"})
        EXPECT_FALSE(origin.hasOriginOf(WebAddress::parse(url).value())) << url;
}

TEST(WebAddress, EscapesAPathComponent) {
    EXPECT_EQ(pathComponent("gemini-3.5_a~"), "gemini-3.5_a~");
    EXPECT_EQ(pathComponent("../x?k=1#é"), "..%2Fx%3Fk%3D1%23%C3%A9");
}

} // namespace tavik
