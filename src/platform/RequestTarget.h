#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/URL.h"

namespace brindlewick {

/// What a request asks for, in the parts that a transport is given one by one, so that none parses the text of a URL a
/// second time and in another way. User, password and fragment are no part of it.
struct RequestTarget {
  /// The scheme is in lower case, the host as it was written.
  std::string scheme, host;
  /// Absent for the scheme's own.
  std::optional<std::uint16_t> port;
  /// Never empty: a URL without a path asks for "/" (RFC 9110, section 4.2.3). Every escape is as it was written.
  std::string path;
  std::optional<std::string> query;

  bool operator==(const RequestTarget&) const = default;

  /// Absent for a URL without a scheme or a host, for a port beyond 65,535, and for a host with percent-encoding, which
  /// readers decode differently: a valid name (RFC 3986, section 3.2.2) that nobody can be asked for.
  [[nodiscard]] static std::optional<RequestTarget> of(const URL& url);

  /// Path and query as they stand in a request line (RFC 9112, section 3.2.1). A URL that is signed over its text, and
  /// a path that names "a%2Fb", mean these bytes and no others.
  [[nodiscard]] std::string originForm() const;

  /// Whether a URL that a framework composed of these parts still asks for exactly this: path and query byte for byte,
  /// scheme and host without regard to case, the port by its number, and nothing beside them (user, password,
  /// fragment).
  [[nodiscard]] bool isAskedBy(const std::optional<URL>& composed) const;
};

}  // namespace brindlewick
