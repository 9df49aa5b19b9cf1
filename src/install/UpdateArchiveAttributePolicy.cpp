#include "install/UpdateArchiveAttributePolicy.h"

#include <algorithm>
#include <span>
#include <utility>

#include "install/UpdateInstallError.h"

namespace brindlewick {
namespace {

constexpr std::size_t permissionLetterCount = 9;

/// Whatever Unicode counts as the end of a line (annex 14, mandatory breaks) and as white space (property White_Space),
/// in UTF-8. A listing shows those outside ASCII as they stand in a name.
constexpr std::string_view lineBreaks[] = {"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"};
constexpr std::string_view blanks[] = {" ",      "\t",     "\u00a0", "\u1680", "\u2000", "\u2001",
                                       "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007",
                                       "\u2008", "\u2009", "\u200a", "\u202f", "\u205f", "\u3000"};

/// Whether this is one character of UTF-8, however many bytes it takes.
bool isOneCharacter(std::string_view text) {
  return std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }) == 1;
}

bool arePermissionLetters(std::string_view text) {
  return text.find_first_not_of("rwxstST-") == std::string_view::npos;
}

/// Takes the text up to the first of these separators off the front, and the separator with it.
std::string_view takePiece(std::string_view& text, std::span<const std::string_view> separators) {
  for (std::size_t end = 0; end < text.size(); ++end) {
    if (text[end] > ' ' && text[end] < '\x7f') continue;  // begins no separator, and is nearly everything
    for (const auto separator : separators) {
      if (!text.substr(end).starts_with(separator)) continue;
      const auto piece = text.substr(0, end);
      text.remove_prefix(end + separator.size());
      return piece;
    }
  }
  return std::exchange(text, {});
}

std::string_view firstField(std::string_view line) {
  std::string_view field;
  while (field.empty() && !line.empty()) field = takePiece(line, blanks);
  return field;
}

bool isAcceptable(std::string_view line) {
  const auto field = firstField(line);
  if (field.size() <= permissionLetterCount) return true;
  const auto type = field.substr(0, field.size() - permissionLetterCount);
  if (!isOneCharacter(type) || !arePermissionLetters(field.substr(type.size()))) return true;
  return type == "d" || type == "-";
}

}  // namespace

void UpdateArchiveAttributePolicy::check(std::string_view listing) {
  while (!listing.empty()) require(isAcceptable(takePiece(listing, lineBreaks)), UpdateInstallError::unsafeArchive);
}

}  // namespace brindlewick
