#include "platform/linux/CurlTransfer.h"

#include "platform/PlatformError.h"
#include "platform/RequestTarget.h"
#include "platform/linux/CurlError.h"
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
  URLHandle handle(curl_url(), curl_url_cleanup);
  if (!handle) throw std::bad_alloc();
  const auto set = [&](CURLUPart part, const std::string& value) {
    if (curl_url_set(handle.get(), part, value.c_str(), 0) != CURLUE_OK)
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
  ~HeaderList() { curl_slist_free_all(list_); }
  HeaderList(const HeaderList&) = delete;
  HeaderList& operator=(const HeaderList&) = delete;

  [[nodiscard]] curl_slist* get() const noexcept { return list_; }

 private:
  void append(const std::string& line) {
    auto* longer = curl_slist_append(list_, line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    list_ = longer;
  }

  curl_slist* list_ = nullptr;
};

bool isRedirectStatus(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

long statusOf(CURL* easy) {
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  return status;
}

std::optional<std::uint64_t> declaredByteCountOf(CURL* easy) {
  curl_off_t length = -1;
  curl_easy_getinfo(easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  return declaredByteCount(length);
}

std::optional<std::string> locationOf(CURL* easy) {
  curl_header* header = nullptr;
  if (curl_easy_header(easy, "Location", 0, CURLH_HEADER, -1, &header) != CURLHE_OK) return std::nullopt;
  return header->value;
}

}  // namespace

Transfer::Transfer(CURL* easy, const HTTPSRequest& request, const Timeouts& timeouts)
    : easy_(easy), request_(request), timeouts_(timeouts) {}

void Transfer::configure(const URL& url) {
  const auto set = [&](CURLoption option, auto value) {
    check(curl_easy_setopt(easy_, option, value), "configure", url.string());
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
  check(curl_easy_setopt(easy_, CURLOPT_CURLU, handle.get()), "configure", url.string());
  check(curl_easy_setopt(easy_, CURLOPT_REQUEST_TARGET, target.originForm().c_str()), "configure", url.string());
  check(curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers.get()), "configure", url.string());
  byteLimit_ = byteLimit;
  sink_ = &sink;
  answered_ = isRedirect_ = stopped_ = false;
  lastByteCount_ = 0;

  const auto code = curl_easy_perform(easy_);
  Exchange exchange;
  exchange.response = {static_cast<int>(statusOf(easy_)), declaredByteCountOf(easy_)};
  exchange.stopped = stopped_;
  if (isRedirect_) exchange.location = locationOf(easy_);
  // The handle outlives what it points to.
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, nullptr);
  curl_easy_setopt(easy_, CURLOPT_CURLU, nullptr);

  if (thrown_) std::rethrow_exception(thrown_);
  if (timedOut_) throwError("request", url.string(), CURLE_OPERATION_TIMEDOUT);
  throwIfInterrupted();
  if (!stopped_) check(code, "request", url.string());
  return exchange;
}

void Transfer::considerHead() {
  answered_ = true;
  isRedirect_ = isRedirectStatus(statusOf(easy_));
  const auto declared = declaredByteCountOf(easy_);
  // Nobody wants a body that is refused for its declared length: what follows of it is left unread.
  stopped_ = !isRedirect_ && declared && *declared > byteLimit_;
}

bool Transfer::receive(ByteView bytes) {
  if (isRedirect_) return true;
  stopped_ = stopped_ || !(*sink_)(bytes);
  return !stopped_;
}

bool Transfer::mayGoOn(std::uint64_t receivedByteCount) {
  const auto now = Clock::now();
  if (receivedByteCount != lastByteCount_) {
    lastByteCount_ = receivedByteCount;
    lastByte_ = now;
  }
  timedOut_ = now - started_ >= timeouts_.whole || now - lastByte_ >= timeouts_.idle ||
              (!answered_ && now - started_ >= request_.timeout);
  return !timedOut_ && !stopped_ && !interrupted();
}

std::size_t Transfer::onWrite(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept {
  auto& self = *static_cast<Transfer*>(transfer);
  try {
    return self.receive({reinterpret_cast<const std::uint8_t*>(bytes), size * count}) ? size * count : 0;
  } catch (...) {
    self.thrown_ = std::current_exception();  // no exception may pass through libcurl
    return 0;
  }
}

std::size_t Transfer::onHeader(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept {
  auto& self = *static_cast<Transfer*>(transfer);
  const std::string_view line(bytes, size * count);
  self.lastByte_ = Clock::now();
  // The empty line ends a head; one of an interim response is not the answer yet.
  if ((line == "\r\n" || line == "\n") && statusOf(self.easy_) >= 200) self.considerHead();
  return self.stopped_ ? 0 : line.size();
}

int Transfer::onProgress(void* transfer, curl_off_t, curl_off_t received, curl_off_t, curl_off_t) noexcept {
  return static_cast<Transfer*>(transfer)->mayGoOn(static_cast<std::uint64_t>(received)) ? 0 : 1;
}

}  // namespace brindlewick::curl
