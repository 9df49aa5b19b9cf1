#include "platform/URL.h"

#include "platform/AsciiText.h"
#include "platform/URLGrammar.h"

namespace brindlewick {

std::optional<URL> URL::parse(std::string_view text) { return text.empty() ? std::nullopt : read(text); }

std::optional<URL> URL::read(std::string_view text) {
  URL url;
  url.text_ = text;
  url.components_ = URLComponents::of(text);
  if (!URLGrammar::allows(url.components_)) return std::nullopt;
  if (url.components_.scheme) url.scheme_ = asciiLowercase(*url.components_.scheme);
  if (url.components_.authority) url.readAuthority(*url.components_.authority);
  return url;
}

void URL::readAuthority(std::string_view text) {
  const auto parts = URLAuthority::of(text);
  if (!parts.host.empty()) host_ = parts.host;
  if (parts.port && !parts.port->empty()) port_ = parts.port;
  if (!parts.userinfo) return;
  const auto colon = parts.userinfo->find(':');
  user_ = parts.userinfo->substr(0, colon);
  if (colon != std::string::npos) password_ = parts.userinfo->substr(colon + 1);
}

std::optional<URL> URL::resolve(std::string_view reference) const {
  const auto read = URL::read(reference);
  if (!read || !scheme_) return std::nullopt;
  const auto meant = components_.resolve(read->components_);
  auto resolved = parse(meant.composed());
  // Text that would be read as something else than what was meant is no result.
  if (!resolved || resolved->components_ != meant) return std::nullopt;
  return resolved;
}

std::string_view URL::pathExtension() const noexcept {
  std::string_view name = path();
  while (name.ends_with('/')) name.remove_suffix(1);
  name = name.substr(name.rfind('/') + 1);
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return {};
  return name.substr(dot + 1);
}

}  // namespace brindlewick
