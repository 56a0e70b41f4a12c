#include "tests/platform/http/HttpTest.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/http/TlsServer.h"

#include <future>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class HttpTls : public HttpTest {
protected:
    TlsServer server{TlsServer::Kind::http2};
};

} // namespace

TEST_F(HttpTls, RefusesCertificatesThatNobodyVouchesForOrOfOtherHosts) {
    EXPECT_EQ(failureKind(get(server.url())), TransportFailure::secureConnectionFailed);
    server.makeTrusted();
    EXPECT_EQ(failureKind(get(server.url("localhost"))), TransportFailure::secureConnectionFailed);
    EXPECT_EQ(server.connectionCount(), 2);
}

TEST_F(HttpTls, ResumesItsSessions) {
    const TlsServer closing(TlsServer::Kind::statusPage);
    closing.makeTrusted();
    EXPECT_THAT(fetch(closing.url()).body, HasSubstr("New, TLSv1.3"));
    EXPECT_THAT(fetch(closing.url()).body, HasSubstr("Reused, TLSv1.3"));
}

TEST_F(HttpTls, IsDoneBeforeARequestThatWasPreparedFor) {
    server.makeTrusted();
    session->prepareConnection(server.url());
    ASSERT_TRUE(eventually([&] { return server.connectionCount() == 1; }));
    std::this_thread::sleep_for(300ms); // nobody but the session sees the end of the handshake
    EXPECT_EQ(session->send(post(server.url()), {}).body, "two");
    EXPECT_EQ(server.connectionCount(), 1);
}

TEST_F(HttpTls, CarriesRequestsAtOnceOnOneConnectionByHttp2) {
    server.makeTrusted();
    EXPECT_EQ(fetch(server.url()).body, "two");
    server.holdAnswers(true);
    const std::size_t before = server.bytesSent();
    const auto ask = [this] {
        return session->send(post(server.url(), std::string(20'000, 'x')), {}).body;
    };
    auto first = std::async(std::launch::async, ask);
    auto second = std::async(std::launch::async, ask);
    EXPECT_TRUE(eventually([&] { return server.bytesSent() > before + 40'000; }));
    // One that is given up beside them does them no harm.
    EXPECT_LT(timeToCancel([&](auto stop) { session->send(get(server.url()), stop); }), 50ms);
    server.holdAnswers(false);
    EXPECT_EQ(first.get() + second.get(), "twotwo");
    EXPECT_EQ(server.connectionCount(), 1);
}

} // namespace tavik
