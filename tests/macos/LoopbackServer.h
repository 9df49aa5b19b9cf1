#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/Descriptor.h"

namespace brindlewick::testing {

/// Answers plain HTTP on 127.0.0.1, one connection after the other, with what a function makes of the head of the
/// request, and closes each.
class LoopbackServer {
 public:
  using Answer = std::function<std::string(const std::string& head)>;

  explicit LoopbackServer(Answer answer);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  [[nodiscard]] std::string url(const std::string& path) const;
  /// The heads of the requests so far.
  [[nodiscard]] std::vector<std::string> requests() const;

 private:
  void serve();
  void answerOne(int connection);

  Answer answer_;
  Descriptor listener_;
  std::uint16_t port_ = 0;
  std::atomic<bool> isStopping_ = false;
  mutable std::mutex lock_;
  std::vector<std::string> requests_;
  std::thread thread_;
};

/// A response with a body of declared length.
[[nodiscard]] std::string response(int status, const std::string& body, const std::string& headers = "");

/// A socket that listens on a free port of 127.0.0.1.
[[nodiscard]] Descriptor listenOnLoopback(std::uint16_t& port);
[[nodiscard]] Descriptor connectToLoopback(std::uint16_t port);

}  // namespace brindlewick::testing
