#include "platform/http/HttpSession.h"
#include "tests/platform/http/RawServer.h"

#include <fmt/format.h>
#include <map>
#include <mutex>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// Sends clients on as its table of paths says, answers every other path and remembers the requests.
class RedirectingServer {
public:
    std::string url(std::string_view path) const { return server.url(path); }

    void redirect(const std::string& path, int status, const std::string& target) {
        const std::lock_guard lock(mutex);
        targets[path] = fmt::format(
            "HTTP/1.1 {} Moved\r\nLocation: {}\r\nContent-Length: 5\r\n\r\nmoved", status, target);
    }

    std::vector<std::string> requests() {
        const std::lock_guard lock(mutex);
        return seen;
    }

private:
    void serve(Peer& peer) {
        for (std::string request; !(request = peer.readRequest()).empty();)
            peer.write(answer(request));
    }

    std::string answer(const std::string& request) {
        const std::lock_guard lock(mutex);
        seen.push_back(request);
        const std::size_t begin = request.find(' ') + 1;
        const auto found = targets.find(request.substr(begin, request.find(' ', begin) - begin));
        return found == targets.end() ? okReply("here") : found->second;
    }

    std::mutex mutex;
    std::map<std::string, std::string> targets; // guarded by mutex; path to reply
    std::vector<std::string> seen;              // guarded by mutex
    RawServer server{[this](Peer& peer) { serve(peer); }};
};

class HttpRedirect : public testing::Test {
protected:
    HttpRequest request(const std::string& url, const std::string& method = "GET") const {
        HttpRequest made;
        made.method = method;
        made.url = url;
        made.headers = {{"User-Agent", "Test"},
                        {"Authorization", "Bearer secret"},
                        {"x-api-key", "secret"},
                        {"Cookie", "secret"}};
        made.maximumRedirects = 5;
        made.timeout = 5s;
        return made;
    }

    TransportFailure failureOf(const HttpRequest& sent) {
        try {
            session->send(sent, {});
        } catch (const TransportError& error) {
            return error.failure;
        }
        ADD_FAILURE() << "an answer came";
        return {};
    }

    RedirectingServer first;
    RedirectingServer second;
    std::unique_ptr<HttpSession> session = makeHttpSession();
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
        first.redirect("/old", status, "new?x=1");
        HttpRequest sent = request(first.url("/old"), method);
        sent.body = method == "POST" || method == "PUT" ? "content" : "";
        EXPECT_EQ(session->send(sent, {}).body, followed == "HEAD" ? "" : "here");
        const std::string last = first.requests().back();
        EXPECT_THAT(last, StartsWith(followed + " /new?x=1 HTTP")) << status << method;
        EXPECT_THAT(last, Not(HasSubstr("x-www-form-urlencoded"))); // nobody said so
        EXPECT_EQ(last.ends_with("\r\n\r\ncontent"), followed == "POST" || followed == "PUT")
            << last;
    }
}

TEST_F(HttpRedirect, TakesKeysToNoOtherServer) {
    first.redirect("/stay", 302, "/end");
    first.redirect("/leave", 302, second.url("/back"));
    second.redirect("/back", 307, first.url("/end"));

    session->send(request(first.url("/stay")), {});
    EXPECT_THAT(first.requests().back(), HasSubstr("x-api-key: secret"));
    EXPECT_THAT(first.requests().back(), HasSubstr("Authorization: Bearer secret"));

    session->send(request(first.url("/leave")), {});
    EXPECT_THAT(second.requests().back(), Not(HasSubstr("secret")));
    EXPECT_THAT(second.requests().back(), HasSubstr("User-Agent: Test"));
    // Nor back again: who knows by what path it led there.
    EXPECT_THAT(first.requests().back(), Not(HasSubstr("secret")));
}

TEST_F(HttpRedirect, EndsLoops) {
    first.redirect("/loop", 302, "/loop");
    EXPECT_EQ(failureOf(request(first.url("/loop"))), TransportFailure::other);
    EXPECT_EQ(first.requests().size(), 6u);
}

TEST_F(HttpRedirect, LeadsToNothingButTheWeb) {
    for (const char* target : {"file:///etc/passwd", "ftp://127.0.0.1/", "http://"}) {
        first.redirect("/away", 302, target);
        EXPECT_EQ(failureOf(request(first.url("/away"))), TransportFailure::badUrl) << target;
    }
}

TEST_F(HttpRedirect, SharesOneTimeout) {
    RawServer slow([](Peer& peer) {
        while (!peer.readRequest().empty()) {
            std::this_thread::sleep_for(120ms);
            peer.write("HTTP/1.1 302 Found\r\nLocation: /again\r\nContent-Length: 0\r\n\r\n");
        }
    });
    HttpRequest sent = request(slow.url());
    sent.timeout = 300ms;
    EXPECT_EQ(failureOf(sent), TransportFailure::timedOut);
}

} // namespace tavik
