#include "tests/platform/http/HttpTest.h"
#include "tests/platform/http/RawServer.h"

#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using HttpPreparation = HttpTest;

} // namespace

TEST_F(HttpPreparation, TellsNothingButTheHost) {
    PageServer server;
    std::string url = server.url("/path?q=secret");
    session->prepareConnection(url.insert(7, "user:secret@"));
    ASSERT_TRUE(eventually([&] { return server.requests().size() == 1; }));
    EXPECT_THAT(server.requests()[0], StartsWith("HEAD / HTTP/1.1\r\n"));
    for (const char* secret : {"secret", "path", "Authorization"})
        EXPECT_THAT(server.requests()[0], Not(HasSubstr(secret)));
}

TEST_F(HttpPreparation, HasNoEffectWhereAConnectionIsIdle) {
    PageServer server;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(fetch(server.url()).body, "here");
        session->prepareConnection(server.url());
    }
    EXPECT_EQ(fetch(server.url()).body, "here");
    EXPECT_EQ(server.requests().size(), 4u);
    EXPECT_EQ(server.connectionCount(), 1);
}

TEST_F(HttpPreparation, HasNoEffectWhereOneIsUnderWay) {
    RawServer silent([](Peer& peer) { peer.waitForEnd(); });
    PageServer other;
    for (int i = 0; i < 3; ++i)
        session->prepareConnection(silent.url());
    session->prepareConnection(other.url()); // another host is another matter
    EXPECT_TRUE(
        eventually([&] { return silent.connectionCount() == 1 && other.connectionCount() == 1; }));
    EXPECT_EQ(fetch(other.url()).body, "here");
    EXPECT_EQ(silent.connectionCount(), 1);
}

TEST_F(HttpPreparation, ReplacesAConnectionThatTheServerClosed) {
    RawServer server(answeringOnce(okReply("")));
    fetch(server.url());
    std::this_thread::sleep_for(100ms); // for the end of the connection to arrive
    session->prepareConnection(server.url());
    EXPECT_TRUE(eventually([&] { return server.connectionCount() == 2; }));
}

TEST_F(HttpPreparation, KeepsItsFailuresToItself) {
    for (const std::string url : {"", "nonsense", "http://127.0.0.1:1/", "http://nowhere.test/"})
        session->prepareConnection(url);
    PageServer server;
    EXPECT_EQ(fetch(server.url()).body, "here");
}

} // namespace tavik
