#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/posix/Descriptor.h"

namespace brindlewick::testing {

/// The two ends of a pipe. Closing the writing end wakes whoever waits for the reading one.
struct Pipe {
  /// Throws std::runtime_error.
  [[nodiscard]] static Pipe make();

  Descriptor readingEnd, writingEnd;
};

/// A socket on a free port of 127.0.0.1.
struct Listener {
  /// Throws std::runtime_error.
  [[nodiscard]] static Listener make();

  Descriptor socket;
  std::uint16_t port = 0;
};

/// Not open when nobody listens.
[[nodiscard]] Descriptor connectToLoopback(std::uint16_t port);

/// Serves 127.0.0.1, one connection after the other, and closes each after it has been served. Its end waits for
/// nobody: not for a connection, and not for what a peer may still send or read.
class LoopbackListener {
 public:
  /// How one connection is served. Its reads and writes fail once the listener ends.
  using Serve = std::function<void(int connection)>;

  explicit LoopbackListener(Serve serve);
  ~LoopbackListener();
  LoopbackListener(const LoopbackListener&) = delete;
  LoopbackListener& operator=(const LoopbackListener&) = delete;

  [[nodiscard]] std::uint16_t port() const noexcept { return listener_.port; }

 private:
  void run();
  /// Waits for a connection; not open when the listener ends.
  [[nodiscard]] Descriptor accept() const;
  void serveOne(Descriptor connection);

  Serve serve_;
  Listener listener_ = Listener::make();
  Pipe end_ = Pipe::make();
  std::mutex lock_;
  int served_ = -1;
  bool isEnding_ = false;
  std::thread thread_;
};

/// Answers plain HTTP with what a function makes of the head of the request.
class LoopbackServer {
 public:
  using Answer = std::function<std::string(const std::string& head)>;

  explicit LoopbackServer(Answer answer);

  [[nodiscard]] std::uint16_t port() const noexcept { return listener_.port(); }
  [[nodiscard]] std::string url(const std::string& path) const;
  /// The heads of the requests so far.
  [[nodiscard]] std::vector<std::string> requests() const;

 private:
  void answerOne(int connection);

  Answer answer_;
  mutable std::mutex lock_;
  std::vector<std::string> requests_;
  LoopbackListener listener_;  // last: its thread uses the others
};

/// A response with a body of declared length.
[[nodiscard]] std::string response(int status, const std::string& body, const std::string& headers = "");

/// What arrives until the peer has sent its last byte, or until `enough` says that it is enough.
std::string receive(
    int connection, const std::function<bool(const std::string&)>& enough = [](const std::string&) { return false; });

/// Sends all of a text unless the peer is gone, which raises no signal.
void sendAll(int connection, std::string_view text);

}  // namespace brindlewick::testing
