#include "platform/linux/PropertyListText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>

namespace brindlewick::PropertyListText {
namespace {

constexpr std::string_view digits = "0123456789";

bool isDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of(digits) == std::string_view::npos;
}

/// The whole text as a number; absent if a part is left over or the number does not fit.
template <typename Number, typename... Format>
std::optional<Number> wholeNumber(std::string_view text, Format... format) {
  Number number{};
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number, format...);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  return number;
}

/// A character of the Basic Multilingual Plane as UTF-8. Beyond it, Apple's reader keeps the low 16 bits only.
std::optional<std::string> encoded(std::uint32_t character) {
  const bool isAllowed = character == '\t' || character == '\n' || character == '\r' ||
                         (character >= 0x20 && character < 0xD800) || (character >= 0xE000 && character <= 0xFFFD);
  if (!isAllowed) return std::nullopt;
  const auto continuation = [character](int shift) { return static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
  if (character < 0x80) return std::string{static_cast<char>(character)};
  if (character < 0x800) return std::string{static_cast<char>(0xC0 | character >> 6), continuation(0)};
  return std::string{static_cast<char>(0xE0 | character >> 12), continuation(6), continuation(0)};
}

/// What stands between "&#" and ";".
std::optional<std::string> referredCharacter(std::string_view reference) {
  const bool isHexadecimal = reference.starts_with('x');
  if (isHexadecimal) reference.remove_prefix(1);
  // No longer than any allowed character needs; libplist counts the same.
  if (reference.size() > 5) return std::nullopt;
  const auto character = wholeNumber<std::uint32_t>(reference, isHexadecimal ? 16 : 10);
  return character ? encoded(*character) : std::nullopt;
}

/// What stands between "&" and ";".
std::optional<std::string> entity(std::string_view name) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 5> predefined{
      {{"amp", "&"}, {"apos", "'"}, {"gt", ">"}, {"lt", "<"}, {"quot", "\""}}};
  if (name.starts_with('#')) return referredCharacter(name.substr(1));
  for (const auto& [known, text] : predefined)
    if (name == known) return std::string(text);
  return std::nullopt;
}

/// Six bits; absent for a character that is not of the base64 alphabet.
std::optional<unsigned> base64Value(char character) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const auto position = alphabet.find(character);
  if (position == std::string_view::npos) return std::nullopt;
  return static_cast<unsigned>(position);
}

}  // namespace

std::optional<std::string> decoded(std::string_view raw) {
  if (raw.find('\r') != std::string_view::npos) return std::nullopt;
  std::string text;
  while (true) {
    const auto ampersand = raw.find('&');
    text += raw.substr(0, ampersand);
    if (ampersand == std::string_view::npos) return text;
    // The longest is "&#65535;"; without a bound, a text of ampersands would be searched over and over.
    const auto length = raw.substr(ampersand, 10).find(';');
    if (length == std::string_view::npos) return std::nullopt;
    const auto replacement = entity(raw.substr(ampersand + 1, length - 1));
    if (!replacement) return std::nullopt;
    text += *replacement;
    raw.remove_prefix(ampersand + length + 1);
  }
}

bool isInteger(std::string_view raw) {
  const auto magnitude = raw.substr(raw.starts_with('-') ? 1 : 0);
  // Some readers take a leading zero for octal notation.
  if (!isDigits(magnitude) || (magnitude.size() > 1 && magnitude.front() == '0')) return false;
  return wholeNumber<std::int64_t>(raw).has_value();
}

bool isReal(std::string_view raw) {
  const auto magnitude = raw.substr(raw.starts_with('-') ? 1 : 0);
  if (raw.size() > 64 || magnitude.find_first_not_of("0123456789.eE+-") != std::string_view::npos) return false;
  if (!isDigits(magnitude.substr(0, 1)) || !isDigits(magnitude.substr(magnitude.size() - 1))) return false;
  const auto number = wholeNumber<double>(raw, std::chars_format::general);
  return number && std::isfinite(*number);
}

bool isDate(std::string_view raw) {
  constexpr std::string_view pattern = "0000-00-00T00:00:00Z";
  if (raw.size() != pattern.size()) return false;
  for (std::size_t i = 0; i < pattern.size(); ++i)
    if (pattern[i] == '0' ? digits.find(raw[i]) == std::string_view::npos : raw[i] != pattern[i]) return false;
  const auto field = [raw](std::size_t position) { return raw.substr(position, 2); };
  return field(5) >= "01" && field(5) <= "12" && field(8) >= "01" && field(8) <= "31" && field(11) <= "23" &&
         field(14) <= "59" && field(17) <= "59";
}

std::optional<std::size_t> base64ByteCount(std::string_view raw) {
  std::size_t count = 0, padding = 0;
  unsigned last = 0;
  for (const char character : raw) {
    if (character == ' ' || character == '\t' || character == '\r' || character == '\n') continue;
    ++count;
    if (character == '=') {
      ++padding;
      continue;
    }
    const auto value = base64Value(character);
    if (!value || padding != 0) return std::nullopt;
    last = *value;
  }
  if (count % 4 != 0 || padding > 2) return std::nullopt;
  // The bits that padding cuts off are zero.
  if ((padding == 1 && (last & 3) != 0) || (padding == 2 && (last & 15) != 0)) return std::nullopt;
  return count / 4 * 3 - padding;
}

}  // namespace brindlewick::PropertyListText
