#include "support/LoopbackServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
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

/// A tool that a test starts must not hold a socket or a pipe open.
void keepFromChildren(const Descriptor& descriptor) { ::fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC); }

// A peer that is gone is an error of the write and raises no signal: one system sets this on the socket, the other says
// it with each write.
#ifdef SO_NOSIGPIPE
constexpr int sendFlags = 0;
void raiseNoSignal(int connection) {
  const int on = 1;
  ::setsockopt(connection, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
}
#else
constexpr int sendFlags = MSG_NOSIGNAL;
void raiseNoSignal(int /*connection*/) {}
#endif

}  // namespace

Pipe Pipe::make() {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) throw std::runtime_error("cannot make a pipe");
  Pipe pipe{.readingEnd = Descriptor(ends[0]), .writingEnd = Descriptor(ends[1])};
  keepFromChildren(pipe.readingEnd);
  keepFromChildren(pipe.writingEnd);
  return pipe;
}

Listener Listener::make() {
  Listener listener{.socket = Descriptor(::socket(AF_INET, SOCK_STREAM, 0))};
  keepFromChildren(listener.socket);
  auto address = loopback(0);
  socklen_t length = sizeof address;
  const int socket = listener.socket.get();
  // It never waits by itself: a connection that was announced may be gone before it is accepted.
  if (::bind(socket, generic(address), length) != 0 || ::listen(socket, 16) != 0 ||
      ::getsockname(socket, generic(address), &length) != 0 || ::fcntl(socket, F_SETFL, O_NONBLOCK) != 0)
    throw std::runtime_error("cannot listen");
  listener.port = ntohs(address.sin_port);
  return listener;
}

Descriptor connectToLoopback(std::uint16_t port) {
  Descriptor connection(::socket(AF_INET, SOCK_STREAM, 0));
  auto address = loopback(port);
  if (::connect(connection.get(), generic(address), sizeof address) != 0) return {};
  keepFromChildren(connection);
  raiseNoSignal(connection.get());
  return connection;
}

LoopbackListener::LoopbackListener(Serve serve) : serve_(std::move(serve)) {
  thread_ = std::thread([this] { run(); });
}

LoopbackListener::~LoopbackListener() {
  {
    const std::lock_guard guard(lock_);
    isEnding_ = true;
    if (served_ >= 0) ::shutdown(served_, SHUT_RDWR);
  }
  end_.writingEnd.reset();
  thread_.join();
}

void LoopbackListener::run() {
  while (auto connection = accept()) serveOne(std::move(connection));
}

Descriptor LoopbackListener::accept() const {
  for (;;) {
    std::array<pollfd, 2> awaited{{{listener_.socket.get(), POLLIN, 0}, {end_.readingEnd.get(), POLLIN, 0}}};
    if (::poll(awaited.data(), awaited.size(), -1) < 0 && errno != EINTR) return {};
    if (awaited[1].revents != 0) return {};
    if (awaited[0].revents == 0) continue;
    Descriptor connection(::accept(listener_.socket.get(), nullptr, nullptr));
    if (!connection) continue;
    keepFromChildren(connection);
    ::fcntl(connection.get(), F_SETFL, 0);  // some systems pass on that it does not wait
    raiseNoSignal(connection.get());
    return connection;
  }
}

void LoopbackListener::serveOne(Descriptor connection) {
  {
    const std::lock_guard guard(lock_);
    if (isEnding_) return;
    served_ = connection.get();
  }
  serve_(connection.get());
  const std::lock_guard guard(lock_);
  served_ = -1;
}

LoopbackServer::LoopbackServer(Answer answer)
    : answer_(std::move(answer)), listener_([this](int connection) { answerOne(connection); }) {}

std::string LoopbackServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port()) + path;
}

std::vector<std::string> LoopbackServer::requests() const {
  const std::lock_guard guard(lock_);
  return requests_;
}

void LoopbackServer::answerOne(int connection) {
  const auto isWhole = [](const std::string& head) { return head.find("\r\n\r\n") != head.npos; };
  const auto head = receive(connection, isWhole);
  if (!isWhole(head)) return;
  {
    const std::lock_guard guard(lock_);
    requests_.push_back(head);
  }
  sendAll(connection, answer_(head));
}

std::string response(int status, const std::string& body, const std::string& headers) {
  return "HTTP/1.1 " + std::to_string(status) + " Status\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nConnection: close\r\n" + headers + "\r\n" + body;
}

std::string receive(int connection, const std::function<bool(const std::string&)>& enough) {
  std::string received;
  std::array<char, 4096> buffer{};
  while (!enough(received)) {
    const auto count = ::read(connection, buffer.data(), buffer.size());
    if (count <= 0) break;
    received.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return received;
}

void sendAll(int connection, std::string_view text) {
  while (!text.empty()) {
    const auto count = ::send(connection, text.data(), text.size(), sendFlags);
    if (count <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace brindlewick::testing
