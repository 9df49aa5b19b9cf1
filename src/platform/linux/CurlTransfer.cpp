#include "platform/linux/CurlTransfer.h"

#include "platform/RequestTarget.h"
#include "platform/linux/CurlError.h"
#include "platform/linux/LoadedCurl.h"
#include "platform/posix/Interruption.h"

namespace brindlewick::curl {
namespace {

using URLHandle = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

RequestTarget targetOf(const URL& url) {
  auto target = RequestTarget::of(url);
  if (!target) throwError("request", url.string(), CURLE_URL_MALFORMAT);
  return *std::move(target);
}

/// Gives libcurl the parts that our own parser found, so that it never parses the text in its own way. Path and query
/// are not among them, since it would rewrite their escapes and drop an empty query: the request line is given as it
/// is.
URLHandle toHandle(const RequestTarget& target) {
  URLHandle handle(libcurl().url(), libcurl().urlCleanup);
  if (!handle) throw std::bad_alloc();
  const auto set = [&](CURLUPart part, const std::string& value) {
    if (libcurl().urlSet(handle.get(), part, value.c_str(), 0) != CURLUE_OK)
      throwError("request", target.host, CURLE_URL_MALFORMAT);
  };
  set(CURLUPART_SCHEME, target.scheme);
  set(CURLUPART_HOST, target.host);
  if (target.port) set(CURLUPART_PORT, std::to_string(*target.port));
  return handle;
}

/// The header lines of a request beside Host.
class HeaderList {
 public:
  explicit HeaderList(const HTTPSRequest& request) {
    append("Accept: " + request.accept);
    append("Cache-Control: no-cache");
  }
  ~HeaderList() { libcurl().slistFreeAll(list_); }
  HeaderList(const HeaderList&) = delete;
  HeaderList& operator=(const HeaderList&) = delete;

  [[nodiscard]] curl_slist* get() const noexcept { return list_; }

 private:
  void append(const std::string& line) {
    auto* longer = libcurl().slistAppend(list_, line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    list_ = longer;
  }

  curl_slist* list_ = nullptr;
};

}  // namespace

Transfer::Transfer(CURL* easy, TransferSockets& sockets, const HTTPSRequest& request, const TransferTimeouts& timeouts)
    : easy_(easy),
      sockets_(sockets),
      request_(request),
      watchdog_(sockets, TransferClock(timeouts, request.timeout, std::chrono::steady_clock::now())) {}

void Transfer::configure(const URL& url) {
  const auto set = [&](CURLoption option, auto value) {
    check(libcurl().easySetopt(easy_, option, value), "configure", url.string());
  };
  set(CURLOPT_WRITEFUNCTION, &Transfer::onWrite);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
  set(CURLOPT_XFERINFODATA, this);
  set(CURLOPT_NOPROGRESS, 0L);
}

Exchange Transfer::perform(const URL& url, std::uint64_t byteLimit, const BodySink& sink) {
  const auto target = targetOf(url);
  const auto handle = toHandle(target);
  const HeaderList headers(request_);
  configure(url);
  check(libcurl().easySetopt(easy_, CURLOPT_CURLU, handle.get()), "configure", url.string());
  check(libcurl().easySetopt(easy_, CURLOPT_REQUEST_TARGET, target.originForm().c_str()), "configure", url.string());
  check(libcurl().easySetopt(easy_, CURLOPT_HTTPHEADER, headers.get()), "configure", url.string());
  byteLimit_ = byteLimit;
  sink_ = &sink;
  exchange_ = {};
  isRedirect_ = false;
  redirectByteCount_ = 0;
  watchdog_.expectAnswer();

  const auto code = libcurl().easyPerform(easy_);
  // The handle outlives what it points to.
  libcurl().easySetopt(easy_, CURLOPT_HTTPHEADER, nullptr);
  libcurl().easySetopt(easy_, CURLOPT_CURLU, nullptr);

  if (thrown_) std::rethrow_exception(thrown_);
  if (watchdog_.verdict() == TransferWatchdog::Verdict::tookTooLong)
    throwError("request", url.string(), CURLE_OPERATION_TIMEDOUT);
  throwIfInterrupted();
  if (!exchange_.stopped) check(code, "request", url.string());
  return exchange_;
}

void Transfer::readHeadLine(std::string_view line) {
  watchdog_.startIdling();
  headByteCount_ += line.size();
  if (headByteCount_ > maximumHeadByteCount) throwError("request", request_.url.string(), CURLE_WEIRD_SERVER_REPLY);
  const ResponseHead head(easy_);
  // The empty line ends a head; one of an interim response is not the answer yet.
  if ((line == "\r\n" || line == "\n") && !head.isInterim()) considerHead(head);
}

void Transfer::considerHead(const ResponseHead& head) {
  watchdog_.noteAnswer();
  isRedirect_ = head.isRedirect();
  exchange_.response = {static_cast<int>(head.status()), head.declaredByteCount()};
  if (isRedirect_) exchange_.location = head.location();
  // Nobody wants a body that is refused for its declared length: what follows of it is left unread.
  const auto& declared = exchange_.response.expectedByteCount;
  exchange_.stopped = declared && *declared > (isRedirect_ ? maximumRedirectByteCount : byteLimit_);
}

void Transfer::readBody(ByteView bytes) {
  watchdog_.stopIdling();
  redirectByteCount_ += isRedirect_ ? bytes.size() : 0;
  const bool isWanted = isRedirect_ ? redirectByteCount_ <= maximumRedirectByteCount : (*sink_)(bytes);
  exchange_.stopped = exchange_.stopped || !isWanted;
  watchdog_.startIdling();
}

template <typename Step>
std::size_t Transfer::goOnAfter(std::size_t byteCount, Step step) noexcept {
  try {
    step();
  } catch (...) {
    thrown_ = std::current_exception();  // no exception may pass through libcurl
  }
  if (!exchange_.stopped && !thrown_) return byteCount;
  // libcurl closes a connection politely, which a peer that never stops could turn into another wait.
  sockets_.shutDown();
  return byteCount == 0 ? 1 : 0;
}

std::size_t Transfer::onWrite(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept {
  auto& self = *static_cast<Transfer*>(transfer);
  const ByteView view(reinterpret_cast<const std::uint8_t*>(bytes), size * count);
  return self.goOnAfter(view.size(), [&] { self.readBody(view); });
}

std::size_t Transfer::onHeader(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept {
  auto& self = *static_cast<Transfer*>(transfer);
  const std::string_view line(bytes, size * count);
  return self.goOnAfter(line.size(), [&] { self.readHeadLine(line); });
}

// While a name is looked up there is no socket to shut down; libcurl asks here several times a second.
int Transfer::onProgress(void* transfer, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  return static_cast<Transfer*>(transfer)->watchdog_.verdict() == TransferWatchdog::Verdict::mayGoOn ? 0 : 1;
}

}  // namespace brindlewick::curl
