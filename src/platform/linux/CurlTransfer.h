#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <curl/curl.h>

#include "platform/HTTPSSession.h"
#include "platform/linux/CurlResponseHead.h"
#include "platform/linux/TransferWatchdog.h"

namespace brindlewick::curl {

/// Receives the body of the response that ends a task. Returns whether to go on.
using BodySink = std::function<bool(ByteView bytes)>;

/// What one exchange of a request for a response ended with.
struct Exchange {
  HTTPSResponse response;
  /// The Location header of a redirect.
  std::optional<std::string> location;
  /// The sink wanted no more, or the declared length was beyond the limit; or a redirect's body was too long to read.
  bool stopped = false;
};

/// One task: a request, the redirects that it leads through, and the limits that hold over all of them.
class Transfer {
 public:
  /// How long all heads of a task, those of interim responses and redirects among them, and all trailers may be
  /// together. libcurl keeps them, and puts no bound on trailers and interim responses.
  static constexpr std::size_t maximumHeadByteCount = 65'536;
  /// How much of a redirect's body is read, which nobody wants: a little, since then the connection can serve again.
  static constexpr std::uint64_t maximumRedirectByteCount = 65'536;

  /// `easy` carries the session's settings and connections, `sockets` those of the latter. The time begins now. Throws
  /// PlatformError.
  Transfer(CURL* easy, TransferSockets& sockets, const HTTPSRequest& request, const TransferTimeouts& timeouts);

  /// Sends a GET and hands the body of anything but a redirect to the sink; a body declared longer than `byteLimit` is
  /// not read at all. Throws PlatformError.
  [[nodiscard]] Exchange perform(const URL& url, std::uint64_t byteLimit, const BodySink& sink);

 private:
  void configure(const URL& url);
  /// A line of a head or of trailers.
  void readHeadLine(std::string_view line);
  void considerHead(const ResponseHead& head);
  void readBody(ByteView bytes);

  /// Takes one step within a callback, and returns what the callback returns: the count it was given to go on.
  template <typename Step>
  [[nodiscard]] std::size_t goOnAfter(std::size_t byteCount, Step step) noexcept;
  static std::size_t onWrite(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept;
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept;
  static int onProgress(void* transfer, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept;

  CURL* easy_;
  TransferSockets& sockets_;
  const HTTPSRequest& request_;
  std::uint64_t headByteCount_ = 0;
  std::exception_ptr thrown_;

  // Of the exchange that is under way.
  std::uint64_t byteLimit_ = 0;
  const BodySink* sink_ = nullptr;
  Exchange exchange_;
  bool isRedirect_ = false;
  std::uint64_t redirectByteCount_ = 0;

  TransferWatchdog watchdog_;
};

}  // namespace brindlewick::curl
