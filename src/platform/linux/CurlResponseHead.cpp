#include "platform/linux/CurlResponseHead.h"

#include "platform/HTTPSSession.h"

namespace brindlewick::curl {
long ResponseHead::status() const noexcept {
  long status = 0;
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
  return status;
}

bool ResponseHead::isRedirect() const noexcept {
  const auto code = status();
  return code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
}

std::optional<std::string> ResponseHead::location() const {
  curl_header* header = nullptr;
  if (curl_easy_header(easy_, "Location", 0, CURLH_HEADER, -1, &header) != CURLHE_OK) return std::nullopt;
  return header->value;
}

std::optional<std::uint64_t> ResponseHead::declaredByteCount() const {
  curl_off_t length = -1;
  curl_easy_getinfo(easy_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  return brindlewick::declaredByteCount(length);
}

}  // namespace brindlewick::curl
