#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <curl/curl.h>

#include "platform/HTTPSSession.h"

namespace brindlewick::curl {

struct Timeouts {
  /// Without any byte arriving.
  std::chrono::milliseconds idle{std::chrono::seconds(30)};
  /// A whole task, all its redirects included.
  std::chrono::milliseconds whole{std::chrono::seconds(300)};
};

/// Receives the body of the response that ends a task. Returns whether to go on.
using BodySink = std::function<bool(ByteView bytes)>;

/// What one exchange of a request for a response ended with.
struct Exchange {
  HTTPSResponse response;
  /// The Location header of a redirect.
  std::optional<std::string> location;
  /// The sink wanted no more, or the declared length was beyond the limit.
  bool stopped = false;
};

/// One task: a request, the redirects that it leads through, and the clock that runs over all of them.
class Transfer {
 public:
  /// `easy` carries the session's settings and connections.
  Transfer(CURL* easy, const HTTPSRequest& request, const Timeouts& timeouts);

  /// Sends a GET and hands the body of anything but a redirect to the sink; a body declared longer than `byteLimit` is
  /// not read at all. Throws PlatformError.
  [[nodiscard]] Exchange perform(const URL& url, std::uint64_t byteLimit, const BodySink& sink);

 private:
  using Clock = std::chrono::steady_clock;

  void configure(const URL& url);
  void readResponse(Exchange& exchange) const;
  void considerHead();
  [[nodiscard]] bool receive(ByteView bytes);
  [[nodiscard]] bool mayGoOn(std::uint64_t receivedByteCount);

  static std::size_t onWrite(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept;
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept;
  static int onProgress(void* transfer, curl_off_t, curl_off_t received, curl_off_t, curl_off_t) noexcept;

  CURL* easy_;
  const HTTPSRequest& request_;
  Timeouts timeouts_;
  Clock::time_point started_ = Clock::now();
  Clock::time_point lastByte_ = started_;
  std::uint64_t lastByteCount_ = 0;

  // Of the exchange that is under way.
  std::uint64_t byteLimit_ = 0;
  const BodySink* sink_ = nullptr;
  bool answered_ = false;
  bool isRedirect_ = false;
  bool stopped_ = false;
  bool timedOut_ = false;
  std::exception_ptr thrown_;
};

}  // namespace brindlewick::curl
