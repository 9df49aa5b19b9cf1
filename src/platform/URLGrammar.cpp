#include "platform/URLGrammar.h"

#include <algorithm>

#include "platform/AsciiText.h"

namespace brindlewick {
namespace {

bool isHexDigit(char c) { return isAsciiDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

/// unreserved / sub-delims
bool isPlain(char c) {
  constexpr std::string_view marks = "-._~!$&'()*+,;=";
  return isAsciiLetter(c) || isAsciiDigit(c) || marks.find(c) != marks.npos;
}

/// Whether a text consists of plain characters, percent-encodings and some marks; any length, also none.
bool consistsOfPlain(std::string_view text, std::string_view marks) {
  while (!text.empty()) {
    const bool isEncoded = text[0] == '%' && text.size() >= 3 && isHexDigit(text[1]) && isHexDigit(text[2]);
    if (!isEncoded && !isPlain(text[0]) && marks.find(text[0]) == marks.npos) return false;
    text.remove_prefix(isEncoded ? 3 : 1);
  }
  return true;
}

bool isScheme(std::string_view text) {
  constexpr std::string_view marks = "+-.";
  return !text.empty() && isAsciiLetter(text[0]) && std::ranges::all_of(text, [&](char c) {
    return isAsciiLetter(c) || isAsciiDigit(c) || marks.find(c) != marks.npos;
  });
}

/// A number up to 255 without leading zeros.
bool isDecimalOctet(std::string_view text) {
  if (text.empty() || text.size() > 3 || !areAsciiDigits(text) || (text.size() > 1 && text[0] == '0')) return false;
  return text.size() < 3 || text <= "255";
}

bool isIPv4Address(std::string_view text) {
  const auto octets = split(text, '.');
  return octets.size() == 4 && std::ranges::all_of(octets, isDecimalOctet);
}

bool isGroup(std::string_view text) {
  return !text.empty() && text.size() <= 4 && std::ranges::all_of(text, isHexDigit);
}

/// How many groups of 16 bits are listed, an IPv4 address at the end counting as two; absent when it is no such list.
std::optional<std::size_t> groupCount(std::string_view text) {
  if (text.empty()) return 0;
  auto groups = split(text, ':');
  std::size_t count = groups.size();
  if (isIPv4Address(groups.back())) {
    groups.pop_back();
    ++count;
  }
  if (!std::ranges::all_of(groups, isGroup)) return std::nullopt;
  return count;
}

bool isIPvFuture(std::string_view text) {
  const auto dot = text.find('.');
  if (dot == text.npos || dot < 2 || (text[0] != 'v' && text[0] != 'V')) return false;
  const auto version = text.substr(1, dot - 1), address = text.substr(dot + 1);
  return std::ranges::all_of(version, isHexDigit) && !address.empty() &&
         std::ranges::all_of(address, [](char c) { return isPlain(c) || c == ':'; });
}

bool isHost(std::string_view text) {
  if (!text.starts_with('[')) return consistsOfPlain(text, "");
  if (!text.ends_with(']')) return false;
  const auto address = text.substr(1, text.size() - 2);
  return URLGrammar::isIPv6Address(address) || isIPvFuture(address);
}

bool isAuthority(std::string_view text) {
  const auto parts = URLAuthority::of(text);
  return (!parts.userinfo || consistsOfPlain(*parts.userinfo, ":")) && isHost(parts.host) &&
         (!parts.port || areAsciiDigits(*parts.port));
}

/// Behind an authority a path is empty or begins with a slash, and without one it does not begin with two: splitting
/// leaves nothing else. What remains is that the first segment of a reference without a scheme has no colon.
bool isPath(const URLComponents& parts) {
  const std::string_view path = parts.path;
  if (!consistsOfPlain(path, "/:@")) return false;
  return parts.scheme || parts.authority || path.substr(0, path.find('/')).find(':') == path.npos;
}

bool isQueryOrFragment(const std::optional<std::string>& text) { return !text || consistsOfPlain(*text, "/?:@"); }

}  // namespace

bool URLGrammar::allows(const URLComponents& parts) {
  return (!parts.scheme || isScheme(*parts.scheme)) && (!parts.authority || isAuthority(*parts.authority)) &&
         isPath(parts) && isQueryOrFragment(parts.query) && isQueryOrFragment(parts.fragment);
}

bool URLGrammar::isIPv6Address(std::string_view text) {
  const auto gap = text.find("::");
  if (gap == text.npos) return groupCount(text) == 8;
  const auto before = groupCount(text.substr(0, gap)), after = groupCount(text.substr(gap + 2));
  const bool hasIPv4BeforeGap = text.substr(0, gap).find('.') != text.npos;
  return before && after && !hasIPv4BeforeGap && *before + *after <= 7;
}

}  // namespace brindlewick
