#include "platform/UTF8.h"

#include <array>
#include <cstdint>

namespace brindlewick {
namespace {

/// One row of the table of well-formed sequences (Unicode Standard, table 3-7): the range of the first byte, the range
/// of the second, and the number of bytes. Every further byte is 80 to BF.
struct Row {
  std::uint8_t first, firstLast, second, secondLast;
  std::size_t byteCount;
};

constexpr std::array<Row, 9> rows{{
    {0x00, 0x7F, 0x00, 0xFF, 1},
    {0xC2, 0xDF, 0x80, 0xBF, 2},
    {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3},
    {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4},
    {0xF4, 0xF4, 0x80, 0x8F, 4},
}};

/// How many bytes the well-formed sequence at the start of a text has; 0 if there is none.
std::size_t sequenceLength(std::string_view text) noexcept {
  const auto byte = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  for (const auto& row : rows) {
    if (byte(0) < row.first || byte(0) > row.firstLast) continue;
    if (text.size() < row.byteCount) return 0;
    if (row.byteCount > 1 && (byte(1) < row.second || byte(1) > row.secondLast)) return 0;
    for (std::size_t i = 2; i < row.byteCount; ++i)
      if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
    return row.byteCount;
  }
  return 0;
}

}  // namespace

bool isUTF8(std::string_view text) noexcept {
  while (!text.empty()) {
    const auto length = sequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace brindlewick
