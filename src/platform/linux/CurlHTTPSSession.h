#pragma once

#include <memory>
#include <string>

#include <curl/curl.h>

#include "platform/FileSystem.h"
#include "platform/HTTPSSession.h"
#include "platform/linux/CurlTransfer.h"

namespace brindlewick {

/// What a session on libcurl may be given; the defaults are those of the program.
struct CurlSessionSettings {
  TransferTimeouts timeouts;
  /// The system's trusted roots, as Debian and its relatives keep them.
  std::string trustedRoots = "/etc/ssl/certs/ca-certificates.crt";
  int maximumRedirectCount = 20;
};

/// HTTPS on libcurl. Redirects are not libcurl's: each is resolved here and put to the delegate. A session one of whose
/// tasks took too long or was interrupted makes no connections any more.
class CurlHTTPSSession final : public HTTPSSession {
 public:
  CurlHTTPSSession(FileSystem& files, std::shared_ptr<HTTPSSessionDelegate> delegate, Path destination,
                   CurlSessionSettings settings = {});
  ~CurlHTTPSSession() override;
  CurlHTTPSSession(const CurlHTTPSSession&) = delete;
  CurlHTTPSSession& operator=(const CurlHTTPSSession&) = delete;

  [[nodiscard]] HTTPSDataResult data(const HTTPSRequest& request, std::size_t byteLimit) override;
  [[nodiscard]] HTTPSDownloadResult download(const HTTPSRequest& request, std::uint64_t byteLimit,
                                             HTTPSDownloadDelegate& delegate) override;

 private:
  /// Follows redirects to the response that ends the task.
  [[nodiscard]] curl::Exchange perform(const HTTPSRequest& request, HTTPSSessionDelegate& delegate,
                                       std::uint64_t byteLimit, const curl::BodySink& sink);

  using Handle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

  /// The handle of all tasks, which the first of them makes: nothing is loaded for a URL that is refused.
  [[nodiscard]] CURL* easy();

  FileSystem& files_;
  std::shared_ptr<HTTPSSessionDelegate> delegate_;
  Path destination_;
  CurlSessionSettings settings_;
  TransferSockets sockets_;
  Handle easy_{nullptr, nullptr};
};

class CurlHTTPSSessionFactory final : public HTTPSSessionFactory {
 public:
  explicit CurlHTTPSSessionFactory(FileSystem& files) : files_(files) {}

  [[nodiscard]] std::unique_ptr<HTTPSSession> makeSession(std::shared_ptr<HTTPSSessionDelegate> delegate,
                                                          const Path& destination) override;

 private:
  FileSystem& files_;
};

}  // namespace brindlewick
