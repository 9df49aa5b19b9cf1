#include "platform/URL.h"

#include <algorithm>

// The library's definitions are compiled here and nowhere else: the program uses it as headers only.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <boost/url/src.hpp>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#include "platform/AsciiText.h"

namespace brindlewick {
namespace {

std::string text(boost::core::string_view view) { return std::string(view.data(), view.size()); }

/// Whether a text has only the characters of RFC 3986 (section 2).
bool hasOnlyURLCharacters(std::string_view source) {
  constexpr std::string_view marks = "-._~:/?#[]@!$&'()*+,;=%";
  return std::ranges::all_of(
      source, [&](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || marks.find(c) != marks.npos; });
}

/// Whether a scheme is followed by neither an authority nor a path, but by something else ("s:?query"). The grammar
/// allows it, no request could be sent to it, and version 1.81 of the library fails an assertion of its own over it.
bool lacksPathBehindScheme(std::string_view source) {
  const auto end = source.find_first_of(":/?#");
  return end != source.npos && source[end] == ':' && end + 1 < source.size() &&
         std::string_view("?#[]").find(source[end + 1]) != std::string_view::npos;
}

/// What may be given to the library's parser at all.
bool isParseable(std::string_view source) { return hasOnlyURLCharacters(source) && !lacksPathBehindScheme(source); }

}  // namespace

std::optional<URL> URL::parse(std::string_view source) {
  if (source.empty() || !isParseable(source)) return std::nullopt;
  const auto parsed = boost::urls::parse_uri_reference({source.data(), source.size()});
  if (!parsed) return std::nullopt;

  URL url;
  url.text_ = source;
  if (parsed->has_scheme()) url.scheme_ = asciiLowercase(text(parsed->scheme()));
  if (parsed->has_authority()) {
    const auto host = text(parsed->encoded_host());
    if (host.find('%') != std::string::npos) return std::nullopt;
    if (!host.empty()) url.host_ = host;
    if (parsed->has_userinfo()) url.user_ = text(parsed->encoded_user());
    if (parsed->has_password()) url.password_ = text(parsed->encoded_password());
    if (parsed->has_port() && !parsed->port().empty()) url.port_ = text(parsed->port());
  }
  url.path_ = text(parsed->encoded_path());
  // The library lets a path begin directly behind the digits of a port ("//host:12x"); the grammar does not.
  if (parsed->has_authority() && !url.path_.empty() && !url.path_.starts_with('/')) return std::nullopt;
  if (parsed->has_query()) url.query_ = text(parsed->encoded_query());
  if (parsed->has_fragment()) url.fragment_ = text(parsed->encoded_fragment());
  return url;
}

std::optional<URL> URL::resolve(std::string_view reference) const {
  if (!isParseable(reference)) return std::nullopt;
  const auto base = boost::urls::parse_uri({text_.data(), text_.size()});
  const auto relative = boost::urls::parse_uri_reference({reference.data(), reference.size()});
  if (!base || !relative) return std::nullopt;
  boost::urls::url resolved;
  if (!boost::urls::resolve(*base, *relative, resolved)) return std::nullopt;
  return parse({resolved.buffer().data(), resolved.buffer().size()});
}

std::string_view URL::pathExtension() const noexcept {
  std::string_view name = path_;
  while (name.ends_with('/')) name.remove_suffix(1);
  name = name.substr(name.rfind('/') + 1);
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return {};
  return name.substr(dot + 1);
}

}  // namespace brindlewick
