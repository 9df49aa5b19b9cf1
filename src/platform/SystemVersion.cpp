#include "platform/SystemVersion.h"

#include <array>

#include "platform/AsciiText.h"

namespace brindlewick {

std::optional<OperatingSystemVersion> OperatingSystemVersion::parse(std::string_view text) {
  const auto pieces = split(text, '.');
  std::array<std::int64_t, 3> numbers{};
  if (pieces.size() < 2 || pieces.size() > numbers.size()) return std::nullopt;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const auto number = areAsciiDigits(pieces[i]) ? parseDecimal<std::int64_t>(pieces[i]) : std::nullopt;
    if (!number) return std::nullopt;
    numbers[i] = *number;
  }
  return OperatingSystemVersion{numbers[0], numbers[1], numbers[2]};
}

}  // namespace brindlewick
