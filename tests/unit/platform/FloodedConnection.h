#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <array>
#include <string>

#include "platform/linux/TransferSockets.h"
#include "support/LoopbackServer.h"

namespace brindlewick {

/// A connection, on one of the sockets of a session, to a peer that sends for ever.
class FloodedConnection {
 public:
  explicit FloodedConnection(TransferSockets& sockets)
      : sockets_(sockets), socket_(sockets.open(AF_INET, SOCK_STREAM, 0)), peer_(sendForEver) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(peer_.port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  ~FloodedConnection() { sockets_.close(socket_); }
  FloodedConnection(const FloodedConnection&) = delete;
  FloodedConnection& operator=(const FloodedConnection&) = delete;

  [[nodiscard]] int socket() const noexcept { return socket_; }

  [[nodiscard]] bool receivesMore() const {
    std::array<char, 65536> buffer{};
    return ::read(socket_, buffer.data(), buffer.size()) > 0;
  }

  /// Returns only when the connection has ended.
  void readToTheEnd() const {
    while (receivesMore()) continue;
  }

 private:
  static void sendForEver(int connection) {
    const std::string piece(65536, 'x');
    while (::send(connection, piece.data(), piece.size(), MSG_NOSIGNAL) > 0) continue;
  }

  TransferSockets& sockets_;
  int socket_;
  testing::LoopbackListener peer_;
};

}  // namespace brindlewick
