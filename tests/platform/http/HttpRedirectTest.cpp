#include "tests/platform/http/HttpTest.h"
#include "tools/stand-ins/http/RawServer.h"

#include <fmt/format.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string redirect(int status, const std::string& target) {
    return fmt::format("HTTP/1.1 {} Moved\r\nLocation: {}\r\nContent-Length: 5\r\n\r\nmoved",
                       status, target);
}

HttpRequest follow(const std::string& url) {
    HttpRequest request = get(url);
    request.headers = {{"User-Agent", "Test"},
                       {"Authorization", "Bearer secret"},
                       {"x-api-key", "secret"},
                       {"Cookie", "secret"}};
    request.maximumRedirects = 5;
    return request;
}

class HttpRedirect : public HttpTest {
protected:
    PageServer first;
    PageServer second;
};

} // namespace

TEST_F(HttpRedirect, KeepsOrChangesTheMethodAsTheStatusSays) {
    const struct {
        int status;
        std::string method, followed;
    } cases[] = {{301, "GET", "GET"},   {301, "POST", "GET"},  {302, "POST", "GET"},
                 {302, "PUT", "PUT"},   {303, "POST", "GET"},  {303, "PUT", "GET"},
                 {303, "HEAD", "HEAD"}, {307, "POST", "POST"}, {308, "POST", "POST"}};
    for (const auto& [status, method, followed] : cases) {
        first.answer("/old", redirect(status, "new?x=1"));
        HttpRequest request = follow(first.url("/old"));
        request.method = method;
        request.body = method == "POST" || method == "PUT" ? "content" : "";
        EXPECT_EQ(session->send(request, {}).body, followed == "HEAD" ? "" : "here");
        const std::string last = first.requests().back();
        EXPECT_THAT(last, StartsWith(followed + " /new?x=1 HTTP")) << status << method;
        EXPECT_THAT(last, Not(HasSubstr("x-www-form-urlencoded"))); // nobody said so
        EXPECT_EQ(last.ends_with("\r\n\r\ncontent"), followed == "POST" || followed == "PUT")
            << last;
    }
}

TEST_F(HttpRedirect, TakesKeysToNoOtherServer) {
    first.answer("/stay", redirect(302, "/end"));
    first.answer("/leave", redirect(302, second.url("/back")));
    second.answer("/back", redirect(307, first.url("/end")));

    session->send(follow(first.url("/stay")), {});
    EXPECT_THAT(first.requests().back(), HasSubstr("x-api-key: secret"));
    EXPECT_THAT(first.requests().back(), HasSubstr("Authorization: Bearer secret"));

    session->send(follow(first.url("/leave")), {});
    EXPECT_THAT(second.requests().back(), Not(HasSubstr("secret")));
    EXPECT_THAT(second.requests().back(), HasSubstr("User-Agent: Test"));
    // Nor back again: who knows by what path it led there.
    EXPECT_THAT(first.requests().back(), Not(HasSubstr("secret")));
}

TEST_F(HttpRedirect, HasAnEnd) {
    first.answer("/loop", redirect(302, "/loop"));
    EXPECT_EQ(failureKind(follow(first.url("/loop"))), TransportFailure::other);
    EXPECT_EQ(first.requests().size(), 6u);

    for (const char* target : {"file:///etc/passwd", "ftp://127.0.0.1/", "http://"}) {
        first.answer("/away", redirect(302, target));
        EXPECT_EQ(failureKind(follow(first.url("/away"))), TransportFailure::badUrl) << target;
    }

    RawServer slow([](Peer& peer) {
        while (!peer.readRequest().empty()) {
            std::this_thread::sleep_for(120ms);
            peer.write(redirect(302, "/again"));
        }
    });
    HttpRequest request = follow(slow.url());
    request.timeout = 300ms; // for all together
    EXPECT_EQ(failureKind(request), TransportFailure::timedOut);
}

} // namespace tavik
