#include "platform/http/HttpSession.h"
#include "platform/concurrency/Cancelled.h"
#include "tests/platform/http/RawServer.h"

#include <future>
#include <latch>
#include <zlib.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

HttpRequest get(const std::string& url) {
    HttpRequest request;
    request.url = url;
    request.timeout = 5s;
    return request;
}

std::string gzipped(std::string_view text) {
    z_stream stream{};
    deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    std::string result(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, Z_FINISH);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    return result;
}

std::string gzipReply(std::string_view text) {
    const std::string packed = gzipped(text);
    return "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
           std::to_string(packed.size()) + "\r\n\r\n" + packed;
}

class HttpSessionTest : public testing::Test {
protected:
    std::unique_ptr<HttpSession> session = makeHttpSession();
};

} // namespace

TEST_F(HttpSessionTest, UsesOneConnectionForCallsInARow) {
    RawServer server(answering(okReply("hello")));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(session->send(get(server.url()), {}).body, "hello");
    EXPECT_EQ(server.connectionCount(), 1);
}

TEST_F(HttpSessionTest, ReplacesConnectionsThatTheServerClosed) {
    RawServer server([](Peer& peer) {
        peer.readRequest();
        peer.write(okReply("hello")); // and leaves, without having said so
    });
    HttpRequest request = get(server.url());
    request.method = "POST";
    request.body = "x";
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(session->send(request, {}).body, "hello");
    EXPECT_EQ(server.connectionCount(), 20);
}

TEST_F(HttpSessionTest, SendsTheRequestAsItIs) {
    std::string received;
    RawServer server([&](Peer& peer) {
        received = peer.readRequest();
        peer.write(okReply(""));
    });
    HttpRequest request = get(server.url("/v1/messages?beta=1"));
    request.method = "POST";
    request.headers = {{"content-type", "application/json"}, {"x-api-key", "k"}, {"X-Empty", ""}};
    request.body = std::string(3'000'000, 'x'); // libcurl would ask whether so much is welcome
    session->send(request, {});

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
        {gzipReply("packed"), 200, "packed", std::nullopt},
        {"HTTP/1.1 302 Found\r\nLocation: /next\r\nContent-Length: 0\r\n\r\n", 302, "",
         std::nullopt},
    };
    for (const auto& [reply, status, body, kind] : cases) {
        RawServer server(answering(reply));
        const HttpResponse response = session->send(get(server.url()), {});
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
        {okReply(std::string(1001, 'x')), ""},
        {"HTTP/1.1 200 OK\r\n\r\n", endless},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", "100000\r\n" + endless + "\r\n"},
        {gzipReply(std::string(1001, 'x')), ""},
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
        request.maximumResponseBytes = 1000;
        try {
            session->send(request, {});
            ADD_FAILURE() << begin.substr(0, 80);
        } catch (const TransportError& error) {
            EXPECT_EQ(error.failure, TransportFailure::responseTooLarge) << begin.substr(0, 80);
        }
    }
    RawServer server(answering(gzipReply(std::string(1000, 'x'))));
    HttpRequest request = get(server.url());
    request.maximumResponseBytes = 1000;
    EXPECT_EQ(session->send(request, {}).body.size(), 1000);
}

TEST_F(HttpSessionTest, RunsCallsAtTheSameTime) {
    constexpr int count = 8;
    std::latch allHere(count);
    RawServer server([&](Peer& peer) {
        const std::string request = peer.readRequest();
        allHere.arrive_and_wait(); // no answer before the last request
        peer.write(okReply(request.substr(0, request.find(" HTTP"))));
    });
    std::vector<std::future<std::string>> bodies;
    for (int i = 0; i < count; ++i)
        bodies.push_back(std::async(std::launch::async, [&, i] {
            return session->send(get(server.url("/" + std::to_string(i))), {}).body;
        }));
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(bodies[static_cast<std::size_t>(i)].get(), "GET /" + std::to_string(i));
}

TEST_F(HttpSessionTest, EndsWhatIsUnderWayWhenDestroyed) {
    std::promise<void> arrived;
    RawServer server([&](Peer& peer) {
        peer.readRequest();
        arrived.set_value();
        peer.waitForEnd();
    });
    auto call =
        std::async(std::launch::async, [&] { return session->send(get(server.url()), {}).status; });
    arrived.get_future().wait();
    session.reset();
    EXPECT_THROW(call.get(), Cancelled);
}

TEST_F(HttpSessionTest, AsksTheEnvironmentsProxyForOtherMachinesOnly) {
    RawServer proxy([](Peer& peer) {
        const std::string request = peer.readRequest();
        peer.write(okReply(request.substr(0, request.find(" HTTP"))));
    });
    RawServer server(answering(okReply("direct")));
    setenv("http_proxy", proxy.url().c_str(), 1);
    const std::string there = session->send(get("http://elsewhere.test/page"), {}).body;
    const std::string here = session->send(get(server.url()), {}).body;
    unsetenv("http_proxy");
    EXPECT_EQ(there, "GET http://elsewhere.test/page");
    EXPECT_EQ(here, "direct");
}

} // namespace tavik
