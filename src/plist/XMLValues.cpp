#include "plist/XMLValues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <utility>

#include "platform/AsciiText.h"
#include "plist/PropertyListRefusal.h"
#include "plist/UnicodeText.h"

namespace brindlewick::XMLValues {
namespace {

using enum PropertyListRefusal;

bool isASCII(char c) { return static_cast<std::uint8_t>(c) < 0x80; }

void skipBlanks(std::string_view& text) {
  const auto isBlank = [](char c) { return (c >= 0 && c <= ' ') || c == '\x7F'; };
  text.remove_prefix(static_cast<std::size_t>(std::ranges::find_if_not(text, isBlank) - text.begin()));
}

/// Digits and nothing else.
template <typename Number>
Number wholeNumber(std::string_view digits, int base) {
  Number number{};
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
  require(error == std::errc() && end == digits.data() + digits.size(), malformed);
  return number;
}

/// Six bits a character, -1 for the others; "=" stands for zero bits, which are not kept.
constexpr std::array<int, 128> base64Values = [] {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<int, 128> values{};
  values.fill(-1);
  for (std::size_t i = 0; i < alphabet.size(); ++i)
    values[static_cast<std::uint8_t>(alphabet[i])] = static_cast<int>(i);
  values['='] = 0;
  return values;
}();

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// What stands between "&#" and ";": at most eight digits; none stand for NUL.
std::uint32_t referredCharacter(std::string_view digits) {
  const bool isHexadecimal = digits.starts_with('x');
  if (isHexadecimal) digits.remove_prefix(1);
  require(digits.size() <= 8, malformed);
  const auto character = digits.empty() ? 0 : wholeNumber<std::uint32_t>(digits, isHexadecimal ? 16 : 10);
  require(character <= 0x10FFFF && (character < 0xD800 || character > 0xDFFF), malformed);
  return character;
}

/// What stands between "&" and ";".
std::uint32_t entity(std::string_view name) {
  constexpr std::array<std::pair<std::string_view, char>, 5> predefined{
      {{"amp", '&'}, {"apos", '\''}, {"gt", '>'}, {"lt", '<'}, {"quot", '"'}}};
  if (name.starts_with('#')) return referredCharacter(name.substr(1));
  const auto* const known = std::ranges::find(predefined, name, &decltype(predefined)::value_type::first);
  require(known != predefined.end(), malformed);
  return static_cast<std::uint32_t>(known->second);
}

}  // namespace

std::int64_t integer(std::string_view raw) {
  require(std::ranges::all_of(raw, isASCII), foreignNumber);
  skipBlanks(raw);
  const bool isNegative = raw.starts_with('-');
  if (isNegative || raw.starts_with('+')) {
    raw.remove_prefix(1);
    skipBlanks(raw);
  }
  const bool isHexadecimal = raw.starts_with("0x") || raw.starts_with("0X");
  if (isHexadecimal) raw.remove_prefix(2);
  const auto magnitude = wholeNumber<std::uint64_t>(raw, isHexadecimal ? 16 : 10);
  constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
  require(magnitude <= largest + (isNegative ? 1 : 0), isNegative ? malformed : integerBeyond64Bits);
  return static_cast<std::int64_t>(isNegative ? ~magnitude + 1 : magnitude);
}

double real(std::string_view text) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr std::array<std::pair<std::string_view, double>, 7> words{{{"nan", std::numeric_limits<double>::quiet_NaN()},
                                                                      {"inf", infinity},
                                                                      {"+inf", infinity},
                                                                      {"-inf", -infinity},
                                                                      {"infinity", infinity},
                                                                      {"+infinity", infinity},
                                                                      {"-infinity", -infinity}}};
  require(std::ranges::all_of(text, isASCII), foreignNumber);
  const std::string word = asciiLowercase(std::string(text.substr(0, 16)));
  for (const auto& [name, value] : words)
    if (word == name) return value;
  skipBlanks(text);
  require(!text.empty() && text.find_first_not_of("+-.0123456789Ee") == std::string_view::npos, malformed);
  // Too large a number is infinite and too small a one zero, which std::from_chars leaves to its versions.
  const std::string number(text);
  char* end = nullptr;
  const double value = std::strtod(number.c_str(), &end);
  require(end == number.c_str() + number.size(), malformed);
  return value;
}

void requireDate(std::string_view raw) {
  constexpr std::string_view pattern = "-00-00T00:00:00Z";
  if (raw.starts_with('-')) raw.remove_prefix(1);
  raw.remove_prefix(static_cast<std::size_t>(std::ranges::find_if_not(raw, isAsciiDigit) - raw.begin()));
  const auto agrees = [](char expected, char c) { return expected == '0' ? isAsciiDigit(c) : c == expected; };
  require(std::ranges::equal(pattern, raw, agrees), malformed);
}

Bytes data(std::string_view raw) {
  Bytes bytes;
  bytes.reserve(raw.size() / 4 * 3);
  std::uint32_t bits = 0;
  std::size_t count = 0, padding = 0;
  for (const char c : raw) {
    require(isASCII(c), malformed);
    if (c == '=')
      ++padding;
    else if (!isSpace(c))
      padding = 0;
    const int value = base64Values[static_cast<std::uint8_t>(c)];
    if (value < 0) continue;
    bits = bits << 6 | static_cast<std::uint32_t>(value);
    if (++count % 4 != 0) continue;
    bytes.push_back(static_cast<std::uint8_t>(bits >> 16));
    if (padding < 2) bytes.push_back(static_cast<std::uint8_t>(bits >> 8));
    if (padding < 1) bytes.push_back(static_cast<std::uint8_t>(bits));
  }
  return bytes;
}

void appendDecoded(std::string& text, std::string_view raw) {
  while (true) {
    const auto ampersand = raw.find('&');
    text += raw.substr(0, ampersand);
    if (ampersand == std::string_view::npos) return;
    raw.remove_prefix(ampersand + 1);
    // The longest is "#x0010FFFF;"; without a bound, a text of ampersands would be searched over and over.
    const auto length = raw.substr(0, 11).find(';');
    require(length != std::string_view::npos, malformed);
    appendUTF8(text, entity(raw.substr(0, length)));
    raw.remove_prefix(length + 1);
  }
}

}  // namespace brindlewick::XMLValues
