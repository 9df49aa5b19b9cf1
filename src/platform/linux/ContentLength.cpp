#include "platform/linux/ContentLength.h"

#include <charconv>
#include <limits>

#include "platform/AsciiText.h"

namespace brindlewick {
namespace {

std::string_view withoutBlanksAround(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const auto begin = text.find_first_not_of(blanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

std::optional<std::uint64_t> numberOf(std::string_view text) {
  if (text.empty() || !areAsciiDigits(text)) return std::nullopt;
  std::uint64_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc::result_out_of_range ? std::numeric_limits<std::uint64_t>::max() : number;
}

}  // namespace

std::optional<std::uint64_t> contentLength(const std::vector<std::string_view>& lines) {
  std::optional<std::uint64_t> length;
  for (const auto line : lines) {
    for (const auto element : split(line, ',')) {
      const auto number = numberOf(withoutBlanksAround(element));
      if (!number || (length && *length != *number)) return std::nullopt;
      length = number;
    }
  }
  return length;
}

}  // namespace brindlewick
