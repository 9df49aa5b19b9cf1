#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <optional>
#include <string>

namespace brindlewick::curl {

/// What the head of the response that arrived last says. Only complete heads can be asked.
class ResponseHead {
 public:
  explicit ResponseHead(CURL* easy) noexcept : easy_(easy) {}

  /// 0 when there was none.
  [[nodiscard]] long status() const noexcept;
  [[nodiscard]] bool isInterim() const noexcept { return status() < 200; }
  [[nodiscard]] bool isRedirect() const noexcept;
  /// The first Location header.
  [[nodiscard]] std::optional<std::string> location() const;

  /// The length of the body, if one was declared: with a transfer coding, and where there is no body (204, 304),
  /// Content-Length declares nothing (RFC 9112, section 6.3). Throws PlatformError when Content-Length is there and
  /// says no length, since then nobody can tell where the body ends.
  [[nodiscard]] std::optional<std::uint64_t> declaredByteCount() const;

 private:
  CURL* easy_;
};

}  // namespace brindlewick::curl
