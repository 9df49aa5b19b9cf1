#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brindlewick {

/// A URL or relative reference (RFC 3986), parsed once. The parts read here are the parts that are checked and the
/// parts that are requested: nothing downstream parses the text again, so a check and a connection cannot disagree.
///
/// Refused although the grammar allows them: the empty text; a host with percent-encoding (an IPv6 zone included),
/// which readers decode differently; and a scheme with neither authority nor path behind it ("https:?query").
class URL {
 public:
  [[nodiscard]] static std::optional<URL> parse(std::string_view text);

  /// Resolves a reference, such as a Location header, against this URL (RFC 3986, section 5.2).
  [[nodiscard]] std::optional<URL> resolve(std::string_view reference) const;

  /// The text exactly as it was given (or, after `resolve`, as it was composed).
  [[nodiscard]] const std::string& string() const noexcept { return text_; }

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
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  /// Percent-encoded, without the question mark.
  [[nodiscard]] const std::optional<std::string>& query() const noexcept { return query_; }
  [[nodiscard]] const std::optional<std::string>& fragment() const noexcept { return fragment_; }

  /// The extension of the path's last component as it is spelled (percent-encoding is not decoded), trailing slashes
  /// aside; empty when there is none.
  [[nodiscard]] std::string_view pathExtension() const noexcept;

  bool operator==(const URL& other) const noexcept { return text_ == other.text_; }

 private:
  std::string text_;
  std::optional<std::string> scheme_, host_, user_, password_, port_;
  std::string path_;
  std::optional<std::string> query_, fragment_;
};

}  // namespace brindlewick
