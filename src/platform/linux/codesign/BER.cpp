#include "platform/linux/codesign/BER.h"

#include <optional>

#include "platform/linux/codesign/ByteFields.h"

namespace brindlewick::codesign::ber {
namespace {

constexpr std::size_t maximumDepth = 32;

struct Header {
  std::uint8_t tag = 0;
  std::size_t size = 0;               ///< of the header itself
  std::optional<std::size_t> length;  ///< absent: indefinite

  [[nodiscard]] bool isEndMark() const noexcept { return tag == 0; }
};

std::size_t lengthIn(ByteView bytes) {
  std::size_t length = 0;
  for (const std::uint8_t byte : bytes) length = length << 8 | byte;
  return length;
}

Header headerOf(ByteView bytes) {
  Header header;
  header.tag = byteAt(bytes, 0);
  require((header.tag & 0x1F) != 0x1F, "a tag is one byte");
  const std::uint8_t first = byteAt(bytes, 1);
  if (first == 0x80) {
    require((header.tag & 0x20) != 0, "an element of indefinite length is constructed");
    header.size = 2;
    return header;
  }
  const std::size_t lengthByteCount = first < 0x80 ? 0 : first & 0x7F;
  require(lengthByteCount <= 4, "a length has at most four bytes");
  header.size = 2 + lengthByteCount;
  header.length = first < 0x80 ? first : lengthIn(range(bytes, 2, lengthByteCount));
  require(*header.length <= bytes.size() - header.size, "an element lies inside its bytes");
  require(header.tag != 0 || first == 0, "the tag 0 is that of an end mark of two bytes");
  return header;
}

/// How many bytes stand before the end mark that belongs to an indefinite length. Elements of definite length are
/// passed over whole, so every byte is looked at once.
std::size_t lengthBeforeEndMark(ByteView bytes) {
  std::size_t at = 0;
  for (std::size_t depth = 1;;) {
    const Header header = headerOf(bytes.subspan(at));
    if (header.isEndMark() && --depth == 0) return at;
    if (!header.length) require(++depth <= maximumDepth, "indefinite lengths do not nest deeply");
    at += header.size + header.length.value_or(0);
  }
}

}  // namespace

Element Reader::next() {
  const Header header = headerOf(rest_);
  require(!header.isEndMark(), "an end mark belongs to an indefinite length");
  const ByteView behind = rest_.subspan(header.size);
  const std::size_t length = header.length ? *header.length : lengthBeforeEndMark(behind);
  const std::size_t size = header.size + length + (header.length ? 0 : 2);
  const Element element{header.tag, behind.first(length), range(rest_, 0, size)};
  rest_ = rest_.subspan(size);
  return element;
}

Element Reader::next(std::uint8_t tag) {
  const Element element = next();
  require(element.tag == tag, "an element has the tag of its place");
  return element;
}

Element only(ByteView bytes, std::uint8_t tag) {
  Reader reader(bytes);
  const Element element = reader.next(tag);
  require(reader.isAtEnd(), "an element stands alone");
  return element;
}

}  // namespace brindlewick::codesign::ber
