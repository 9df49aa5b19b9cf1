#include "macos/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace brindlewick::testing {
namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

sockaddr* generic(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

}  // namespace

Descriptor listenOnLoopback(std::uint16_t& port) {
  Descriptor listener(::socket(AF_INET, SOCK_STREAM, 0));
  auto address = loopback(0);
  socklen_t length = sizeof address;
  if (::bind(listener.get(), generic(address), length) != 0 || ::listen(listener.get(), 16) != 0 ||
      ::getsockname(listener.get(), generic(address), &length) != 0)
    throw std::runtime_error("cannot listen");
  port = ntohs(address.sin_port);
  return listener;
}

Descriptor connectToLoopback(std::uint16_t port) {
  Descriptor connection(::socket(AF_INET, SOCK_STREAM, 0));
  auto address = loopback(port);
  if (::connect(connection.get(), generic(address), sizeof address) != 0) connection.reset();
  return connection;
}

std::string response(int status, const std::string& body, const std::string& headers) {
  return "HTTP/1.1 " + std::to_string(status) + " Status\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nConnection: close\r\n" + headers + "\r\n" + body;
}

LoopbackServer::LoopbackServer(Answer answer) : answer_(std::move(answer)), listener_(listenOnLoopback(port_)) {
  thread_ = std::thread([this] { serve(); });
}

LoopbackServer::~LoopbackServer() {
  isStopping_ = true;
  connectToLoopback(port_).reset();  // wakes the thread, which waits for a connection
  thread_.join();
}

std::string LoopbackServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<std::string> LoopbackServer::requests() const {
  const std::lock_guard guard(lock_);
  return requests_;
}

void LoopbackServer::serve() {
  for (;;) {
    const Descriptor connection(::accept(listener_.get(), nullptr, nullptr));
    if (isStopping_) return;
    const int on = 1;
    ::setsockopt(connection.get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
    answerOne(connection.get());
  }
}

void LoopbackServer::answerOne(int connection) {
  std::string head;
  std::array<char, 4096> buffer{};
  while (head.find("\r\n\r\n") == head.npos) {
    const auto count = ::read(connection, buffer.data(), buffer.size());
    if (count <= 0) return;
    head.append(buffer.data(), static_cast<std::size_t>(count));
  }
  {
    const std::lock_guard guard(lock_);
    requests_.push_back(head);
  }
  const auto text = answer_(head);
  for (std::size_t sent = 0; sent < text.size();) {
    const auto count = ::write(connection, text.data() + sent, text.size() - sent);
    if (count <= 0) return;
    sent += static_cast<std::size_t>(count);
  }
}

}  // namespace brindlewick::testing
