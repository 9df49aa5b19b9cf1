#pragma once

#include <mutex>
#include <vector>

namespace brindlewick {

/// The sockets of a session, each known from the call that opens it to the one that closes it. So any thread can end
/// every connection at any time without touching a number that has been given to something else meanwhile.
class TransferSockets {
 public:
  /// A socket that children do not inherit; -1 when there is none, and after shutDownForGood.
  [[nodiscard]] int open(int family, int type, int protocol) noexcept;
  /// Closes a socket that was opened here. Returns what close(2) does.
  int close(int socket) noexcept;

  /// Ends every connection: whoever reads or writes one finds its end instead of waiting. New ones can still be made.
  void shutDown() noexcept;
  /// Likewise, and from now on there are no new ones.
  void shutDownForGood() noexcept;

 private:
  void shutDownAll() const noexcept;

  std::mutex lock_;
  std::vector<int> open_;
  bool isOver_ = false;
};

}  // namespace brindlewick
