#include "plist/UnicodeText.h"

#include "plist/PropertyListRefusal.h"

namespace brindlewick {
namespace {

constexpr bool isLead(std::uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool isTrail(std::uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

}  // namespace

void appendUTF8(std::string& text, std::uint32_t character) {
  const auto continuation = [character](int shift) { return static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
  if (character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x800) {
    text += {static_cast<char>(0xC0 | character >> 6), continuation(0)};
  } else if (character < 0x10000) {
    text += {static_cast<char>(0xE0 | character >> 12), continuation(6), continuation(0)};
  } else {
    text += {static_cast<char>(0xF0 | character >> 18), continuation(12), continuation(6), continuation(0)};
  }
}

std::string utf8OfLatin1(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) appendUTF8(text, static_cast<std::uint8_t>(byte));
  return text;
}

std::string utf8OfUTF16(ByteView bytes) {
  const auto unit = [bytes](std::size_t i) { return static_cast<std::uint32_t>(bytes[i] << 8 | bytes[i + 1]); };
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    std::uint32_t character = unit(i);
    if (isLead(character)) {
      i += 2;
      require(i < bytes.size() && isTrail(unit(i)), PropertyListRefusal::illFormedText);
      character = 0x10000 + ((character - 0xD800) << 10) + (unit(i) - 0xDC00);
    }
    require(!isTrail(character), PropertyListRefusal::illFormedText);
    appendUTF8(text, character);
  }
  return text;
}

}  // namespace brindlewick
