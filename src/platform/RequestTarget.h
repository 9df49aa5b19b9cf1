#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/URL.h"

namespace brindlewick {

/// What a request asks for, in the parts that a transport is given one by one, so that none parses the text of a URL a
/// second time and in another way. User, password and fragment are no part of it.
struct RequestTarget {
  std::string scheme, host;
  /// Absent for the scheme's own.
  std::optional<std::uint16_t> port;
  /// Never empty: a URL without a path asks for "/" (RFC 9110, section 4.2.3).
  std::string path;
  std::optional<std::string> query;

  bool operator==(const RequestTarget&) const = default;

  /// Absent for a URL without a scheme or a host, and for a port beyond 65,535.
  [[nodiscard]] static std::optional<RequestTarget> of(const URL& url);
};

}  // namespace brindlewick
