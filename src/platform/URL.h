#pragma once

#include "platform/URLComponents.h"

namespace brindlewick {

/// A URL or relative reference (RFC 3986), read once. The parts read here are the parts that are checked and the parts
/// that are requested, each as it was written: nothing downstream parses the text again and nothing rewrites a part, so
/// a check and a request cannot disagree.
class URL {
 public:
  /// Absent for what the grammar of appendix A does not allow, and for the empty text, which is a reference but names
  /// nothing. A percent-encoded host is a registered name; RequestTarget says what may be asked.
  [[nodiscard]] static std::optional<URL> parse(std::string_view text);

  /// Resolves a reference, such as a Location header, against this URL (section 5.2, strict), leaving every escape as
  /// it is. Absent when the reference is none, when this URL has no scheme, and when the result cannot be written down:
  /// without an authority a path cannot begin with two slashes ("a:/b" with "/..//c").
  [[nodiscard]] std::optional<URL> resolve(std::string_view reference) const;

  /// The text exactly as it was given (or, after `resolve`, as it was composed).
  [[nodiscard]] const std::string& string() const noexcept { return text_; }
  [[nodiscard]] const URLComponents& components() const noexcept { return components_; }

  /// In lower case; absent in a relative reference.
  [[nodiscard]] const std::optional<std::string>& scheme() const noexcept { return scheme_; }
  /// Absent when there is no authority or when its host is empty. An IPv6 literal keeps its brackets.
  [[nodiscard]] const std::optional<std::string>& host() const noexcept { return host_; }
  /// Present, possibly empty, whenever the authority has an "@".
  [[nodiscard]] const std::optional<std::string>& user() const noexcept { return user_; }
  [[nodiscard]] const std::optional<std::string>& password() const noexcept { return password_; }
  /// The digits of the port; absent when there is none or it is empty.
  [[nodiscard]] const std::optional<std::string>& port() const noexcept { return port_; }
  /// Percent-encoded, as it stands.
  [[nodiscard]] const std::string& path() const noexcept { return components_.path; }
  /// Percent-encoded, without the question mark.
  [[nodiscard]] const std::optional<std::string>& query() const noexcept { return components_.query; }
  [[nodiscard]] const std::optional<std::string>& fragment() const noexcept { return components_.fragment; }

  /// The extension of the path's last component as it is spelled (percent-encoding is not decoded), trailing slashes
  /// aside; empty when there is none.
  [[nodiscard]] std::string_view pathExtension() const noexcept;

  bool operator==(const URL& other) const noexcept { return text_ == other.text_; }

 private:
  /// Also reads the empty text.
  [[nodiscard]] static std::optional<URL> read(std::string_view text);
  void readAuthority(std::string_view text);

  std::string text_;
  URLComponents components_;
  std::optional<std::string> scheme_, host_, user_, password_, port_;
};

}  // namespace brindlewick
