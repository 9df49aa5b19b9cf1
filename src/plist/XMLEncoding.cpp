#include "plist/XMLEncoding.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "platform/AsciiText.h"
#include "plist/PropertyListRefusal.h"

namespace brindlewick {
namespace {

struct NamedEncoding {
  std::string_view name;
  XMLEncoding encoding;
};

/// Of hundreds that Core Foundation knows.
constexpr std::array<NamedEncoding, 6> encodings{{{"utf-8", XMLEncoding::utf8},
                                                  {"utf8", XMLEncoding::utf8},
                                                  {"us-ascii", XMLEncoding::latin1},
                                                  {"ascii", XMLEncoding::latin1},
                                                  {"iso-8859-1", XMLEncoding::latin1},
                                                  {"latin1", XMLEncoding::latin1}}};

/// UTF-16 and UTF-32, by their byte order marks or by the NUL of their first character.
bool hasWideCharacters(std::string_view content) {
  return content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF") ||
         content.substr(0, 2).find('\0') != std::string_view::npos;
}

/// The quoted text behind "encoding=", which must stand before the first "?" or ">".
std::optional<std::string_view> declaredName(std::string_view content) {
  constexpr std::string_view opening = "<?xml", attribute = "encoding=";
  if (!content.starts_with(opening)) return std::nullopt;
  const auto declaration = content.substr(0, content.find_first_of("?>", opening.size()));
  const auto position = declaration.find(attribute, opening.size());
  if (position == std::string_view::npos) return std::nullopt;
  const auto value = content.substr(position + attribute.size());
  if (!value.starts_with('"') && !value.starts_with('\'')) return std::nullopt;
  const auto end = value.find(value.front(), 1);
  if (end == std::string_view::npos) return std::nullopt;
  return value.substr(1, end - 1);
}

}  // namespace

XMLEncoding xmlEncoding(std::string_view content) {
  require(!hasWideCharacters(content), PropertyListRefusal::otherEncoding);
  const auto declared = declaredName(content);
  if (!declared) return XMLEncoding::utf8;
  const std::string name = asciiLowercase(std::string(declared->substr(0, 16)));
  const auto known = std::ranges::find(encodings, name, &NamedEncoding::name);
  require(known != encodings.end(), PropertyListRefusal::otherEncoding);
  return known->encoding;
}

}  // namespace brindlewick
