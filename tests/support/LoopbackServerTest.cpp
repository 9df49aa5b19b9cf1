#include "support/LoopbackServer.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

namespace brindlewick::testing {
namespace {

/// Asks a server over a connection of its own and answers all that it says.
std::string ask(const LoopbackServer& server, const std::string& head) {
  const auto connection = connectToLoopback(server.port());
  sendAll(connection.get(), head);
  return receive(connection.get());
}

TEST(LoopbackServer, answersOneConnectionAfterTheOther) {
  const LoopbackServer server([](const std::string& head) { return response(200, head.substr(4, 2)); });
  EXPECT_NE(server.port(), 0);
  EXPECT_EQ(server.url("/a"), "http://127.0.0.1:" + std::to_string(server.port()) + "/a");
  EXPECT_THAT(ask(server, "GET /a HTTP/1.1\r\n\r\n"),
              ::testing::EndsWith("Content-Length: 2\r\nConnection: close\r\n\r\n/a"));
  EXPECT_THAT(ask(server, "GET /b HTTP/1.1\r\n\r\n"), ::testing::EndsWith("\r\n\r\n/b"));
  EXPECT_THAT(server.requests(), ::testing::ElementsAre("GET /a HTTP/1.1\r\n\r\n", "GET /b HTTP/1.1\r\n\r\n"));
}

TEST(LoopbackServer, servesOnAfterAPeerThatSaidNothing) {
  const LoopbackServer server([](const std::string&) { return response(200, "here"); });
  connectToLoopback(server.port()).reset();
  EXPECT_THAT(ask(server, "GET / HTTP/1.1\r\n\r\n"), ::testing::EndsWith("here"));
}

TEST(LoopbackServer, endsThoughNobodyEverConnected) {
  EXPECT_NE(LoopbackServer([](const std::string&) { return std::string(); }).port(), 0);
}

TEST(LoopbackServer, endsThoughAPeerNeitherSpeaksNorReadsNorCloses) {
  Descriptor silent, deaf;
  {
    const LoopbackServer server([](const std::string&) { return std::string(64 << 20, 'x'); });
    deaf = connectToLoopback(server.port());
    sendAll(deaf.get(), "GET / HTTP/1.1\r\n\r\n");
    while (server.requests().empty()) std::this_thread::yield();
  }
  {
    const LoopbackServer server([](const std::string&) { return std::string(); });
    silent = connectToLoopback(server.port());
    EXPECT_TRUE(silent);
  }
  EXPECT_EQ(receive(silent.get()), "");
}

}  // namespace
}  // namespace brindlewick::testing
