#pragma once

#include <algorithm>
#include <charconv>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brindlewick {

[[nodiscard]] constexpr bool isAsciiDigit(char c) noexcept { return c >= '0' && c <= '9'; }
[[nodiscard]] constexpr bool isAsciiLetter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
[[nodiscard]] constexpr bool areAsciiDigits(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), isAsciiDigit);
}

/// Folds A to Z only, whatever the locale.
[[nodiscard]] inline std::string asciiLowercase(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

/// A decimal integer: an optional sign, then one or more digits and nothing else. Absent when the text has another
/// form or the value does not fit.
template <std::signed_integral Integer>
[[nodiscard]] std::optional<Integer> parseDecimal(std::string_view text) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  Integer value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

/// The pieces between separators, empty ones kept; always at least one.
[[nodiscard]] inline std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const auto end = text.find(separator);
    pieces.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

/// The words between runs of ASCII white space.
[[nodiscard]] inline std::vector<std::string_view> words(std::string_view text) {
  constexpr std::string_view blanks = " \t\n\v\f\r";
  std::vector<std::string_view> found;
  for (auto start = text.find_first_not_of(blanks); start != std::string_view::npos;) {
    const auto end = std::min(text.find_first_of(blanks, start), text.size());
    found.push_back(text.substr(start, end - start));
    start = text.find_first_not_of(blanks, end);
  }
  return found;
}

}  // namespace brindlewick
