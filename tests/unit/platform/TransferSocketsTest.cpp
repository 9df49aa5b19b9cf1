#include "platform/linux/TransferSockets.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <gmock/gmock.h>

#include <thread>

#include "FloodedConnection.h"

namespace brindlewick {
namespace {

TEST(TransferSockets, areNotInheritedByChildren) {
  TransferSockets sockets;
  const int socket = sockets.open(AF_INET, SOCK_STREAM, 0);
  EXPECT_EQ(::fcntl(socket, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(sockets.close(socket), 0);
}

TEST(TransferSockets, areNotOpenedWhereTheSystemHasNone) {
  TransferSockets sockets;
  EXPECT_EQ(sockets.open(-1, SOCK_STREAM, 0), -1);
}

TEST(TransferSockets, areAtTheirEndAtOnceThoughThePeerSendsForEver) {
  TransferSockets sockets;
  const FloodedConnection first(sockets);
  const FloodedConnection second(sockets);
  sockets.shutDown();
  EXPECT_FALSE(first.receivesMore());
  EXPECT_FALSE(second.receivesMore());
}

TEST(TransferSockets, areEndedByAnotherThreadWhileOneReads) {
  TransferSockets sockets;
  const FloodedConnection connection(sockets);
  std::thread reader([&] { connection.readToTheEnd(); });
  sockets.shutDown();
  reader.join();
}

TEST(TransferSockets, canBeOpenedAfterAnEndButNotAfterTheLastOne) {
  TransferSockets sockets;
  sockets.shutDown();
  const int socket = sockets.open(AF_INET, SOCK_STREAM, 0);
  EXPECT_GE(socket, 0);
  sockets.close(socket);
  sockets.shutDownForGood();
  EXPECT_EQ(sockets.open(AF_INET, SOCK_STREAM, 0), -1);
}

TEST(TransferSockets, leaveANumberAloneOnceItIsClosed) {
  TransferSockets sockets;
  const int socket = sockets.open(AF_INET, SOCK_STREAM, 0);
  sockets.close(socket);
  TransferSockets others;
  const FloodedConnection connection(others);
  ASSERT_EQ(connection.socket(), socket);
  sockets.shutDown();
  EXPECT_TRUE(connection.receivesMore());
}

}  // namespace
}  // namespace brindlewick
