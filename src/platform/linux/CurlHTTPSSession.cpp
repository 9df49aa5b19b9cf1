#include "platform/linux/CurlHTTPSSession.h"

#include "platform/LimitedBody.h"
#include "platform/PlatformError.h"
#include "platform/linux/CurlError.h"
#include "platform/linux/LoadedCurl.h"
#include "platform/linux/TemporaryDownload.h"

namespace brindlewick {
namespace {

/// How much libcurl hands over at once.
constexpr std::size_t bufferByteCount = 512 * 1024;

curl_socket_t openSocket(void* sockets, curlsocktype, curl_sockaddr* address) noexcept {
  const auto socket =
      static_cast<TransferSockets*>(sockets)->open(address->family, address->socktype, address->protocol);
  return socket < 0 ? CURL_SOCKET_BAD : socket;
}

int closeSocket(void* sockets, curl_socket_t socket) noexcept {
  return static_cast<TransferSockets*>(sockets)->close(socket);
}

/// The settings of every request. Whatever libcurl would take from elsewhere is named and switched off.
void configure(CURL* easy, const CurlSessionSettings& settings, TransferSockets& sockets) {
  const auto set = [easy](CURLoption option, auto value) {
    curl::check(curl::libcurl().easySetopt(easy, option, value), "configure", "the HTTPS session");
  };
  set(CURLOPT_PROTOCOLS_STR, "https");
  set(CURLOPT_REDIR_PROTOCOLS_STR, "https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_HTTPGET, 1L);
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_CAINFO, settings.trustedRoots.c_str());
  set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  set(CURLOPT_PROXY, "");
  set(CURLOPT_NOPROXY, "*");
  set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  set(CURLOPT_HTTP_CONTENT_DECODING, 0L);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_BUFFERSIZE, static_cast<long>(bufferByteCount));
  set(CURLOPT_OPENSOCKETFUNCTION, &openSocket);
  set(CURLOPT_OPENSOCKETDATA, &sockets);
  set(CURLOPT_CLOSESOCKETFUNCTION, &closeSocket);
  set(CURLOPT_CLOSESOCKETDATA, &sockets);
  // A look-up that is given up is not waited for: its thread owns all that it touches, and ends with the process at the
  // latest.
  set(CURLOPT_QUICK_EXIT, 1L);
  // The limits of time are ours: they run over all redirects, and do not wait for libcurl to look.
  set(CURLOPT_CONNECTTIMEOUT_MS, 0x7FFFFFFFL);
  set(CURLOPT_TIMEOUT_MS, 0L);
}

}  // namespace

CurlHTTPSSession::CurlHTTPSSession(FileSystem& files, std::shared_ptr<HTTPSSessionDelegate> delegate, Path destination,
                                   CurlSessionSettings settings)
    : files_(files),
      delegate_(std::move(delegate)),
      destination_(std::move(destination)),
      settings_(std::move(settings)) {}

CURL* CurlHTTPSSession::easy() {
  if (!easy_) {
    const auto& library = curl::libcurl();
    curl::check(library.globalInit(CURL_GLOBAL_DEFAULT), "ready", "libcurl");
    Handle made(library.easyInit(), library.easyCleanup);
    if (!made) throw std::bad_alloc();
    configure(made.get(), settings_, sockets_);
    easy_ = std::move(made);
  }
  return easy_.get();
}

// libcurl says goodbye on each connection and reads for an answer. None is waited for.
CurlHTTPSSession::~CurlHTTPSSession() { sockets_.shutDownForGood(); }

curl::Exchange CurlHTTPSSession::perform(const HTTPSRequest& request, HTTPSSessionDelegate& delegate,
                                         std::uint64_t byteLimit, const curl::BodySink& sink) {
  curl::Transfer transfer(easy(), sockets_, request, settings_.timeouts);
  URL url = request.url;
  for (int redirectCount = 0;; ++redirectCount) {
    auto exchange = transfer.perform(url, byteLimit, sink);
    if (!exchange.location) return exchange;
    const auto proposed = url.resolve(*exchange.location);
    if (!delegate.followsRedirect(proposed) || !proposed) return exchange;
    if (redirectCount == settings_.maximumRedirectCount)
      curl::throwError("request", request.url.string(), CURLE_TOO_MANY_REDIRECTS);
    url = *proposed;
  }
}

HTTPSDataResult CurlHTTPSSession::data(const HTTPSRequest& request, std::size_t byteLimit) {
  LimitedBody body(byteLimit);
  const auto exchange = perform(request, *delegate_, byteLimit, [&](ByteView bytes) { return body.append(bytes); });
  return {.response = exchange.response, .body = body.take(), .exceededByteLimit = exchange.stopped};
}

HTTPSDownloadResult CurlHTTPSSession::download(const HTTPSRequest& request, std::uint64_t byteLimit,
                                               HTTPSDownloadDelegate& delegate) {
  TemporaryDownload file(files_, destination_);
  bool isCancelled = false;
  const auto exchange = perform(request, delegate, byteLimit, [&](ByteView bytes) {
    file.write(bytes);
    isCancelled = !delegate.didWrite(file.byteCount());
    return !isCancelled;
  });
  if (isCancelled)
    throw PlatformError("download", request.url.string(), std::make_error_code(std::errc::operation_canceled));
  return {exchange.response, file.handOn()};
}

std::unique_ptr<HTTPSSession> CurlHTTPSSessionFactory::makeSession(std::shared_ptr<HTTPSSessionDelegate> delegate,
                                                                   const Path& destination) {
  return std::make_unique<CurlHTTPSSession>(files_, std::move(delegate), destination);
}

}  // namespace brindlewick
