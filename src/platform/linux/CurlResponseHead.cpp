#include "platform/linux/CurlResponseHead.h"

#include <string_view>
#include <vector>

#include "platform/linux/ContentLength.h"
#include "platform/linux/CurlError.h"
#include "platform/linux/LoadedCurl.h"

namespace brindlewick::curl {
namespace {

/// The lines with a name, in their order. They last until libcurl is asked again.
std::vector<std::string_view> linesOf(CURL* easy, const char* name) {
  std::vector<std::string_view> lines;
  curl_header* header = nullptr;
  while (libcurl().easyHeader(easy, name, lines.size(), CURLH_HEADER, -1, &header) == CURLHE_OK)
    lines.emplace_back(header->value);
  return lines;
}

}  // namespace

long ResponseHead::status() const noexcept {
  long status = 0;
  libcurl().easyGetinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
  return status;
}

bool ResponseHead::isRedirect() const noexcept {
  const auto code = status();
  return code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
}

std::optional<std::string> ResponseHead::location() const {
  const auto lines = linesOf(easy_, "Location");
  if (lines.empty()) return std::nullopt;
  return std::string(lines.front());
}

std::optional<std::uint64_t> ResponseHead::declaredByteCount() const {
  const bool hasNoBody = status() == 204 || status() == 304;
  const auto lines = linesOf(easy_, "Content-Length");
  if (hasNoBody || lines.empty() || !linesOf(easy_, "Transfer-Encoding").empty()) return std::nullopt;
  const auto length = contentLength(lines);
  if (!length) throwError("read", "Content-Length", CURLE_WEIRD_SERVER_REPLY);
  return length;
}

}  // namespace brindlewick::curl
