#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Bytes.h"
#include "platform/Path.h"
#include "platform/URL.h"

namespace brindlewick {

/// One GET request.
struct HTTPSRequest {
  URL url;
  /// The value of the Accept header.
  std::string accept;
  /// How long the request may take to connect and to be answered.
  std::chrono::milliseconds timeout{std::chrono::seconds(60)};
};

/// The head of the final response.
struct HTTPSResponse {
  /// 0 when the answer was not HTTP.
  int status = 0;
  /// The declared length of the body, if one was declared.
  std::optional<std::uint64_t> expectedByteCount;
};

/// The length of a body as a transport reports it: a negative one means that none was declared.
[[nodiscard]] constexpr std::optional<std::uint64_t> declaredByteCount(std::int64_t reported) noexcept {
  if (reported < 0) return std::nullopt;
  return static_cast<std::uint64_t>(reported);
}

/// Decides each redirect of a session before it is followed.
class HTTPSSessionDelegate {
 public:
  virtual ~HTTPSSessionDelegate() = default;

  /// Whether to follow a redirect; `proposed` is absent when the redirect names no URL that can be parsed. A refused
  /// redirect ends the task with the redirect response itself.
  [[nodiscard]] virtual bool followsRedirect(const std::optional<URL>& proposed) = 0;
};

/// Also watches one download while it runs.
class HTTPSDownloadDelegate : public HTTPSSessionDelegate {
 public:
  /// Called after each write with the bytes written so far; false cancels the download.
  [[nodiscard]] virtual bool didWrite(std::uint64_t totalByteCount) = 0;
};

struct HTTPSDataResult {
  HTTPSResponse response;
  /// The body; when it is longer than the request's byte limit, at most the limit and one buffer of it.
  Bytes body;
  /// The body is longer than the byte limit, by what arrived or by its declared length.
  bool exceededByteLimit = false;
};

struct HTTPSDownloadResult {
  HTTPSResponse response;
  /// A file with mode 0600 in a private directory of its own. It belongs to the caller, which removes the directory
  /// (`file.parent()`) with it.
  Path file;
};

/// A session without memory: no cookies, cache, stored credentials or proxies taken from the environment; https only,
/// for redirects too; TLS 1.2 or newer with the system's trusted roots.
///
/// A transfer ends with PlatformError when it cannot connect, is not answered in the request's time, stays idle for
/// 30 s, takes longer than 300 s altogether, follows too many redirects, has heads that never end, or breaks off.
class HTTPSSession {
 public:
  virtual ~HTTPSSession() = default;

  /// Fetches a body into memory. Reading stops as soon as the body is longer than `byteLimit`.
  [[nodiscard]] virtual HTTPSDataResult data(const HTTPSRequest& request, std::size_t byteLimit) = 0;

  /// Fetches a body into a fresh temporary file. A body declared longer than `byteLimit` need not be fetched: the
  /// answer may then come at once, with less of the body in the file. Throws PlatformError
  /// (std::errc::operation_canceled) when the delegate cancels; no file remains after any throw.
  [[nodiscard]] virtual HTTPSDownloadResult download(const HTTPSRequest& request, std::uint64_t byteLimit,
                                                     HTTPSDownloadDelegate& delegate) = 0;
};

/// Builds sessions. Temporary files lie where they can be renamed to `destination` if the system allows it.
class HTTPSSessionFactory {
 public:
  virtual ~HTTPSSessionFactory() = default;

  [[nodiscard]] virtual std::unique_ptr<HTTPSSession> makeSession(std::shared_ptr<HTTPSSessionDelegate> delegate,
                                                                  const Path& destination) = 0;
};

}  // namespace brindlewick
