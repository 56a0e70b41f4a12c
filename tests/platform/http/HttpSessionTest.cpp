#include "tests/platform/http/HttpTest.h"
#include "tools/stand-ins/http/RawServer.h"

#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// A thousand times "x", packed.
std::string packedReply() {
    const char bytes[] = "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xab\xa8\x18\x05\xa3\x60\x14\x0c"
                         "\x77\x00\x00\xe6\xc9\x41\x3b\xe8\x03\x00\x00";
    return "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 29\r\n\r\n" +
           std::string(bytes, 29);
}

using HttpSessionTest = HttpTest;

} // namespace

TEST_F(HttpSessionTest, UsesAConnectionForAsLongAsTheServerKeepsIt) {
    PageServer server;
    RawServer leaving(answeringOnce(okReply("hello"))); // without having said so
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(session->send(post(server.url()), {}).body, "here");
        EXPECT_EQ(session->send(post(leaving.url()), {}).body, "hello");
    }
    EXPECT_EQ(server.connectionCount(), 1);
    EXPECT_EQ(leaving.connectionCount(), 20);
}

TEST_F(HttpSessionTest, PreparesAConnectionOnlyWhereNoneIsUsable) {
    PageServer kept;
    RawServer leaving(answeringOnce(okReply("")));
    RawServer silent([](Peer& peer) { peer.waitForEnd(); });
    fetch(kept.url());
    fetch(leaving.url());
    std::this_thread::sleep_for(100ms); // for the one connection's end to arrive
    for (const std::string& url : {kept.url(), leaving.url(), silent.url(), silent.url()})
        session->prepareConnection(url);
    EXPECT_TRUE(eventually(
        [&] { return leaving.connectionCount() == 2 && silent.connectionCount() == 1; }));
    fetch(kept.url());
    EXPECT_EQ(kept.requests().size(), 2u);
    EXPECT_EQ(kept.connectionCount(), 1);
    EXPECT_EQ(silent.connectionCount(), 1);
}

TEST_F(HttpSessionTest, TellsNothingButTheHostWhenPreparing) {
    PageServer server;
    for (const std::string url : {"", "nonsense", "http://127.0.0.1:1/", "http://nowhere.test/"})
        session->prepareConnection(url); // and keeps failures to itself
    std::string url = server.url("/path?q=secret");
    session->prepareConnection(url.insert(7, "user:secret@"));
    ASSERT_TRUE(eventually([&] { return server.requests().size() == 1; }));
    EXPECT_THAT(server.requests()[0], StartsWith("HEAD / HTTP/1.1\r\n"));
    for (const char* secret : {"secret", "path", "Authorization"})
        EXPECT_THAT(server.requests()[0], Not(HasSubstr(secret)));
}

TEST_F(HttpSessionTest, SendsTheRequestAsItIs) {
    PageServer server;
    // libcurl would ask whether so much is welcome.
    HttpRequest request = post(server.url("/v1/messages?beta=1"), std::string(3'000'000, 'x'));
    request.headers = {{"content-type", "application/json"}, {"x-api-key", "k"}, {"X-Empty", ""}};
    session->send(request, {});
    const std::string received = server.requests().at(0);
    EXPECT_THAT(received, StartsWith("POST /v1/messages?beta=1 HTTP/1.1\r\n"));
    for (const char* line : {"\r\ncontent-type: application/json\r\n", "\r\nx-api-key: k\r\n",
                             "\r\nX-Empty:\r\n", "\r\nContent-Length: 3000000\r\n"})
        EXPECT_THAT(received.substr(0, 1000), HasSubstr(line));
    EXPECT_THAT(received.substr(0, 1000), Not(HasSubstr("Expect")));
    EXPECT_THAT(received.substr(0, 1000), Not(HasSubstr("x-www-form-urlencoded")));
    EXPECT_TRUE(received.ends_with(request.body));
}

TEST_F(HttpSessionTest, ReadsWhatServersAnswer) {
    const struct {
        std::string reply;
        int status;
        std::string body;
        std::optional<std::string> kind; // of the header X-Kind
    } cases[] = {
        {"HTTP/1.1 404 Not Found\r\nX-Kind:  a b \r\nContent-Length: 2\r\n\r\nno", 404, "no",
         "a b"},
        {"HTTP/1.1 100 Continue\r\nX-Kind: interim\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: "
         "0\r\n\r\n",
         200, "", std::nullopt},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n",
         200, "abcde", std::nullopt},
        {packedReply(), 200, std::string(1000, 'x'), std::nullopt},
        {"HTTP/1.1 302 Found\r\nLocation: /next\r\nContent-Length: 0\r\n\r\n", 302, "",
         std::nullopt},
    };
    for (const auto& [reply, status, body, kind] : cases) {
        RawServer server(answeringOnce(reply));
        const HttpResponse response = fetch(server.url());
        EXPECT_EQ(response.status, status) << reply;
        EXPECT_EQ(response.body, body);
        EXPECT_EQ(response.header("x-kind"), kind);
    }
}

TEST_F(HttpSessionTest, BoundsWhatItReads) {
    const std::string endless(1 << 20, 'x');
    const struct {
        std::string begin;
        std::string repeated;
    } cases[] = {
        {okReply(std::string(1000, 'x')), ""},
        {"HTTP/1.1 200 OK\r\n\r\n", endless},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", "100000\r\n" + endless + "\r\n"},
        {packedReply(), ""},
        {"HTTP/1.1 200 OK\r\n", "X-More: and more\r\n"},
    };
    for (const auto& [begin, repeated] : cases) {
        RawServer server([&begin = begin, &repeated = repeated](Peer& peer) {
            peer.readRequest();
            peer.write(begin);
            while (!repeated.empty() && peer.write(repeated)) {
            }
            peer.waitForEnd();
        });
        HttpRequest request = get(server.url());
        request.maximumResponseBytes = 999;
        EXPECT_EQ(failureKind(request), TransportFailure::responseTooLarge) << begin.substr(0, 80);
    }
    RawServer server(answeringOnce(packedReply()));
    HttpRequest request = get(server.url());
    request.maximumResponseBytes = 1000;
    EXPECT_EQ(session->send(request, {}).body.size(), 1000);
}

} // namespace tavik
