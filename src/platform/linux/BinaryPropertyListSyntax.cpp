#include <algorithm>
#include <cstdint>

#include "platform/linux/PropertyListSyntax.h"

namespace brindlewick::PropertyListSyntax {
namespace {

constexpr std::size_t headerByteCount = 8;
constexpr std::size_t trailerByteCount = 32;

bool isWidth(std::uint64_t byteCount) { return byteCount == 1 || byteCount == 2 || byteCount == 4 || byteCount == 8; }

/// Whether unsigned numbers of this width reach the limit.
bool reaches(std::uint64_t width, std::uint64_t limit) { return width == 8 || limit < std::uint64_t{1} << (8 * width); }

/// How many bytes big-endian UTF-16 has as UTF-8; absent for a lone surrogate and for NUL.
std::optional<std::size_t> lengthAsUTF8(ByteView text) {
  std::size_t count = 0;
  const auto isSurrogate = [&](std::size_t i, unsigned from) { return i < text.size() && (text[i] & 0xFC) == from; };
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const unsigned unit = static_cast<unsigned>(text[i]) << 8 | text[i + 1];
    if (unit == 0 || isSurrogate(i, 0xDC)) return std::nullopt;
    count += unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
    if (!isSurrogate(i, 0xD8)) continue;
    if (!isSurrogate(i + 2, 0xDC)) return std::nullopt;
    ++count;
    i += 2;
  }
  return count;
}

/// Unfolds the objects from the top one. Offsets and references are checked before they are followed.
class Reader {
 public:
  explicit Reader(ByteView content) : content_(content) {}

  [[nodiscard]] std::optional<Extent> extent() {
    if (!trailer() || !offsetsAreInside()) return std::nullopt;
    const auto top = object(topObject_);
    if (!top || top->kind != Kind::dictionary || !value(topObject_, 1)) return std::nullopt;
    return extent_;
  }

 private:
  enum class Kind : std::uint8_t {
    boolean = 0x0,
    integer = 0x1,
    real = 0x2,
    date = 0x3,
    data = 0x4,
    ascii = 0x5,
    utf16 = 0x6,
    uid = 0x8,
    array = 0xA,
    dictionary = 0xD,
  };

  /// The first byte, taken apart, and the position behind it.
  struct Object {
    Kind kind;
    unsigned size;
    std::size_t position;
  };

  [[nodiscard]] std::uint64_t number(std::size_t position, std::uint64_t width) const {
    std::uint64_t result = 0;
    for (const auto byte : content_.subspan(position, static_cast<std::size_t>(width))) result = result << 8 | byte;
    return result;
  }

  /// Whether that many bytes lie before the offset table.
  [[nodiscard]] bool fits(std::size_t position, std::uint64_t byteCount) const {
    return byteCount <= table_ - position;
  }

  /// The offset table fills what is left between the objects and the trailer, as in Apple's reader.
  bool trailer() {
    if (content_.size() < headerByteCount + 1 + trailerByteCount) return false;
    const auto start = content_.size() - trailerByteCount;
    offsetWidth_ = content_[start + 6];
    referenceWidth_ = content_[start + 7];
    objectCount_ = number(start + 8, 8);
    topObject_ = number(start + 16, 8);
    const auto table = number(start + 24, 8);
    if (!isWidth(offsetWidth_) || !isWidth(referenceWidth_) || table <= headerByteCount || table >= start) return false;
    table_ = static_cast<std::size_t>(table);
    return objectCount_ <= start && objectCount_ * offsetWidth_ == start - table_ && topObject_ < objectCount_ &&
           reaches(offsetWidth_, table_) && reaches(referenceWidth_, objectCount_);
  }

  [[nodiscard]] std::uint64_t offset(std::uint64_t reference) const {
    return number(table_ + static_cast<std::size_t>(reference) * offsetWidth_, offsetWidth_);
  }

  [[nodiscard]] bool offsetsAreInside() const {
    for (std::uint64_t i = 0; i < objectCount_; ++i)
      if (offset(i) < headerByteCount || offset(i) >= table_) return false;
    return true;
  }

  [[nodiscard]] std::optional<Object> object(std::uint64_t reference) const {
    if (reference >= objectCount_) return std::nullopt;
    const auto position = static_cast<std::size_t>(offset(reference));
    const unsigned marker = content_[position];
    return Object{static_cast<Kind>(marker >> 4), marker & 0xF, position + 1};
  }

  /// How many elements the object has, each of so many bytes; moves its position to the first.
  std::optional<std::size_t> count(Object& object, std::size_t elementByteCount) const {
    std::uint64_t result = object.size;
    if (object.size == 0xF) {
      // More than fit into four bits: an integer object follows.
      if (!fits(object.position, 1) || content_[object.position] < 0x10 || content_[object.position] > 0x13)
        return std::nullopt;
      const std::size_t width = std::size_t{1} << (content_[object.position++] & 0xF);
      if (!fits(object.position, width)) return std::nullopt;
      result = number(object.position, width);
      object.position += width;
    }
    if (result > (table_ - object.position) / elementByteCount) return std::nullopt;
    return static_cast<std::size_t>(result);
  }

  bool value(std::uint64_t reference, int depth) {
    auto found = object(reference);
    if (!found || ++extent_.valueCount > maximumValueCount) return false;
    switch (found->kind) {
      case Kind::boolean:
        return found->size == 8 || found->size == 9;
      case Kind::integer:
        return found->size <= 3 && fits(found->position, 1U << found->size);
      case Kind::real:
        return (found->size == 2 || found->size == 3) && fits(found->position, 1U << found->size);
      case Kind::date:
        return found->size == 3 && fits(found->position, 8);
      case Kind::uid:
        return (found->size <= 1 || found->size == 3) && fits(found->position, found->size + 1);
      case Kind::data:
        return data(*found);
      case Kind::ascii:
      case Kind::utf16:
        return text(*found).has_value();
      case Kind::array:
        return depth <= maximumDepth && array(*found, depth);
      case Kind::dictionary:
        return depth <= maximumDepth && dictionary(*found, depth);
    }
    return false;  // a set, or a kind that is not assigned
  }

  bool data(Object object) {
    const auto byteCount = count(object, 1);
    return byteCount && grow(*byteCount);
  }

  bool grow(std::size_t byteCount) { return (extent_.byteCount += byteCount) <= maximumByteCount; }

  /// The bytes of the text as UTF-8. An empty text is ASCII: libplist refuses the other form.
  std::optional<std::size_t> text(Object object) {
    const std::size_t width = object.kind == Kind::ascii ? 1 : 2;
    const auto length = count(object, width);
    // Counted before the text is looked at, so that texts used over and over are not looked at for long.
    if (!length || !grow(*length) || (width == 2 && *length == 0)) return std::nullopt;
    const auto bytes = content_.subspan(object.position, *length * width);
    if (width == 1) {
      const bool isASCII = std::ranges::all_of(bytes, [](auto byte) { return byte > 0 && byte < 0x80; });
      return isASCII ? length : std::nullopt;
    }
    const auto byteCount = lengthAsUTF8(bytes);
    return byteCount && grow(*byteCount - *length) ? byteCount : std::nullopt;
  }

  bool array(Object object, int depth) {
    const auto elementCount = count(object, referenceWidth_);
    if (!elementCount) return false;
    for (std::size_t i = 0; i < *elementCount; ++i)
      if (!value(reference(object, i), depth + 1)) return false;
    return true;
  }

  bool dictionary(Object object, int depth) {
    const auto entryCount = count(object, std::size_t{2} * referenceWidth_);
    if (!entryCount) return false;
    for (std::size_t i = 0; i < *entryCount; ++i)
      if (!key(reference(object, i)) || !value(reference(object, *entryCount + i), depth + 1)) return false;
    return true;
  }

  [[nodiscard]] std::uint64_t reference(const Object& object, std::size_t index) const {
    return number(object.position + index * referenceWidth_, referenceWidth_);
  }

  bool key(std::uint64_t reference) {
    const auto found = object(reference);
    return found && (found->kind == Kind::ascii || found->kind == Kind::utf16) && text(*found).value_or(0) > 0;
  }

  ByteView content_;
  std::size_t table_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t topObject_ = 0;
  std::size_t offsetWidth_ = 0;
  std::size_t referenceWidth_ = 0;
  Extent extent_;
};

}  // namespace

std::optional<Extent> binaryExtent(ByteView content) {
  if (content.size() > maximumContentByteCount) return std::nullopt;
  return Reader(content).extent();
}

}  // namespace brindlewick::PropertyListSyntax
