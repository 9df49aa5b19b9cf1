#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace brindlewick {

/// The five components of a URI reference (RFC 3986, section 3), each exactly as it stands and without the mark that
/// sets it off. An absent component is another thing than an empty one. Nothing here decodes, encodes or folds a
/// character, and nothing asks whether a component is valid.
struct URLComponents {
  std::optional<std::string> scheme, authority;
  std::string path;
  std::optional<std::string> query, fragment;

  bool operator==(const URLComponents&) const = default;

  /// Splits any text at all (RFC 3986, appendix B).
  [[nodiscard]] static URLComponents of(std::string_view text);

  /// The inverse of `of` (section 5.3): composing what a text was split into yields the text.
  [[nodiscard]] std::string composed() const;

  /// What a reference means relative to this base, by the strict rules of section 5.2.2.
  [[nodiscard]] URLComponents resolve(const URLComponents& reference) const;
};

/// An authority taken apart (section 3.2), each part as it stands: [userinfo "@"] host [":" port].
struct URLAuthority {
  std::optional<std::string> userinfo;
  /// With the brackets of an address literal. What stands at no valid place is left in it for the grammar to refuse.
  std::string host;
  std::optional<std::string> port;

  [[nodiscard]] static URLAuthority of(std::string_view text);
};

}  // namespace brindlewick
