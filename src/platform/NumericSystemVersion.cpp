#include "platform/NumericSystemVersion.h"

#include <array>

#include "platform/AsciiText.h"

namespace brindlewick {

std::optional<NumericSystemVersion> NumericSystemVersion::parse(std::string_view text) {
  const auto pieces = split(text, '.');
  if (pieces.size() < 2 || pieces.size() > 3) return std::nullopt;
  std::array<std::int64_t, 3> numbers{};
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (pieces[i].empty() || !areAsciiDigits(pieces[i])) return std::nullopt;
    const auto number = parseDecimal<std::int64_t>(pieces[i]);
    if (!number) return std::nullopt;
    numbers[i] = *number;
  }
  return NumericSystemVersion{numbers[0], numbers[1], numbers[2]};
}

}  // namespace brindlewick
