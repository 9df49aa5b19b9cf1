#include "platform/linux/TransferSockets.h"

#include <sys/socket.h>
#include <unistd.h>

#include <new>

namespace brindlewick {

int TransferSockets::open(int family, int type, int protocol) noexcept {
  const std::lock_guard guard(lock_);
  if (isOver_) return -1;
  try {
    open_.reserve(open_.size() + 1);  // nothing is opened that could not be remembered
  } catch (const std::bad_alloc&) {
    return -1;
  }
  const int socket = ::socket(family, type | SOCK_CLOEXEC, protocol);
  if (socket >= 0) open_.push_back(socket);
  return socket;
}

int TransferSockets::close(int socket) noexcept {
  const std::lock_guard guard(lock_);
  std::erase(open_, socket);
  return ::close(socket);
}

void TransferSockets::shutDown() noexcept {
  const std::lock_guard guard(lock_);
  shutDownAll();
}

void TransferSockets::shutDownForGood() noexcept {
  const std::lock_guard guard(lock_);
  isOver_ = true;
  shutDownAll();
}

// Both directions: with only the reading one shut, Linux goes on taking in what the peer sends. Of a connection that is
// shut both ways it resets what still arrives. What has arrived before is thrown away (MSG_TRUNC, tcp(7)): megabytes of
// tiny records would keep a reader busy for seconds.
void TransferSockets::shutDownAll() const noexcept {
  constexpr std::size_t everything = 1U << 30;
  for (const int socket : open_) {
    ::shutdown(socket, SHUT_RDWR);
    while (::recv(socket, nullptr, everything, MSG_TRUNC | MSG_DONTWAIT) > 0) continue;
  }
}

}  // namespace brindlewick
