#include "plist/BinaryPropertyList.h"

#include <bit>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "plist/UnicodeText.h"

namespace brindlewick {
namespace {

using enum PropertyListRefusal;

constexpr std::size_t headerByteCount = 8;
constexpr std::size_t trailerByteCount = 32;
constexpr std::size_t widestNumber = 8;

/// Whether unsigned numbers of this width reach the limit.
bool reaches(std::size_t width, std::uint64_t limit) { return width >= 8 || limit < std::uint64_t{1} << (8 * width); }

/// Unfolds the objects from the top one. Offsets and references are checked before they are followed.
class Reader {
 public:
  Reader(ByteView content, PropertyListMeter& meter) : content_(content), meter_(meter) {}

  PropertyListNode top() {
    readTrailer();
    for (std::uint64_t i = 0; i < objectCount_; ++i) require(offset(i) < table_, malformed);
    return value(topObject_, 0);
  }

 private:
  enum class Kind : std::uint8_t {
    simple = 0x0,
    integer = 0x1,
    real = 0x2,
    date = 0x3,
    data = 0x4,
    latin1 = 0x5,
    utf16 = 0x6,
    uid = 0x8,
    array = 0xA,
    set = 0xC,
    dictionary = 0xD,
  };

  /// The first byte, taken apart, and the position behind it.
  struct Object {
    Kind kind;
    unsigned size;
    std::size_t position;
  };

  [[nodiscard]] std::uint64_t number(std::size_t position, std::size_t width) const {
    std::uint64_t result = 0;
    for (const auto byte : content_.subspan(position, width)) result = result << 8 | byte;
    return result;
  }

  /// That many bytes, which must lie before the offset table.
  [[nodiscard]] ByteView bytes(std::size_t position, std::size_t count) const {
    require(count <= table_ - position, malformed);
    return content_.subspan(position, count);
  }

  [[nodiscard]] std::uint64_t checkedNumber(std::size_t position, std::size_t width) const {
    require(bytes(position, width).size() <= widestNumber, wideNumber);
    return number(position, width);
  }

  /// The offset table fills what is left between the objects and the trailer.
  void readTrailer() {
    require(content_.size() > headerByteCount + trailerByteCount, malformed);
    const auto start = content_.size() - trailerByteCount;
    offsetWidth_ = content_[start + 6];
    referenceWidth_ = content_[start + 7];
    objectCount_ = number(start + 8, 8);
    topObject_ = number(start + 16, 8);
    const auto table = number(start + 24, 8);
    require(table > headerByteCount && table < start && objectCount_ <= start && topObject_ < objectCount_, malformed);
    table_ = static_cast<std::size_t>(table);
    require(offsetWidth_ > 0 && referenceWidth_ > 0 && objectCount_ * offsetWidth_ == start - table_, malformed);
    require(reaches(offsetWidth_, table_) && reaches(referenceWidth_, objectCount_), malformed);
    require(offsetWidth_ <= widestNumber && referenceWidth_ <= widestNumber, wideNumber);
  }

  [[nodiscard]] std::uint64_t offset(std::uint64_t reference) const {
    return number(table_ + static_cast<std::size_t>(reference) * offsetWidth_, offsetWidth_);
  }

  [[nodiscard]] Object object(std::uint64_t reference) const {
    require(reference < objectCount_, malformed);
    const auto position = static_cast<std::size_t>(offset(reference));
    require(position >= headerByteCount, malformed);
    const unsigned marker = content_[position];
    return {static_cast<Kind>(marker >> 4), marker & 0xF, position + 1};
  }

  /// How many elements the object has, each of so many bytes; moves its position to the first.
  std::size_t count(Object& object, std::size_t elementByteCount) const {
    std::uint64_t result = object.size;
    if (object.size == 0xF) {
      // More than fit into four bits: an integer object follows.
      const unsigned marker = bytes(object.position++, 1).front();
      require(marker >> 4 == static_cast<unsigned>(Kind::integer), malformed);
      const std::size_t width = std::size_t{1} << (marker & 0xF);
      result = checkedNumber(object.position, width);
      object.position += width;
    }
    require(result <= (table_ - object.position) / elementByteCount, malformed);
    return static_cast<std::size_t>(result);
  }

  /// `depth` is the number of objects around it. Those that contain themselves are too deep.
  PropertyListNode value(std::uint64_t reference, int depth) {
    require(depth <= PropertyListMeter::maximumDepth, tooDeep);
    meter_.addValue();
    const Object found = object(reference);
    switch (found.kind) {
      case Kind::simple:
        return {boolean(found)};
      case Kind::integer:
        return {integer(found)};
      case Kind::real:
        return {real(found)};
      case Kind::date:
        require(found.size == 3 && bytes(found.position, 8).size() == 8, malformed);
        return {};
      case Kind::data:
        return {data(found)};
      case Kind::latin1:
      case Kind::utf16:
        return {text(found)};
      case Kind::uid:
        require(checkedNumber(found.position, found.size + 1) <= std::numeric_limits<std::uint32_t>::max(), malformed);
        return {};
      case Kind::array:
        return {array(found, depth + 1)};
      case Kind::set:
        throw Failure(kindOfOtherFormats);
      case Kind::dictionary:
        return {dictionary(found, depth + 1)};
    }
    throw Failure(malformed);
  }

  static bool boolean(const Object& object) {
    require(object.size != 0, kindOfOtherFormats);  // null
    require(object.size == 8 || object.size == 9, malformed);
    return object.size == 9;
  }

  /// Unsigned but for eight bytes. Sixteen are written for numbers that have no other form.
  [[nodiscard]] std::int64_t integer(const Object& object) const {
    require(object.size <= 4, malformed);
    const std::size_t width = std::size_t{1} << object.size;
    const auto digits = bytes(object.position, width);
    if (width <= 8) return static_cast<std::int64_t>(number(object.position, width));
    const auto low = static_cast<std::int64_t>(number(object.position + 8, 8));
    require(number(object.position, 8) == 0 && digits.size() == 16 && low >= 0, integerBeyond64Bits);
    return low;
  }

  [[nodiscard]] double real(const Object& object) const {
    require(object.size == 2 || object.size == 3, malformed);
    const auto bits = checkedNumber(object.position, std::size_t{1} << object.size);
    return object.size == 3 ? std::bit_cast<double>(bits) : std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  }

  Bytes data(Object object) {
    const auto size = count(object, 1);
    meter_.addBytes(size);
    const auto content = bytes(object.position, size);
    return {content.begin(), content.end()};
  }

  std::string text(Object object) {
    const std::size_t width = object.kind == Kind::latin1 ? 1 : 2;
    const auto length = count(object, width);
    // Core Foundation gets no memory for an empty text in UTF-16.
    require(width == 1 || length > 0, malformed);
    // Counted before the text is looked at, so that texts used over and over are not looked at for long.
    meter_.addBytes(length);
    const auto content = bytes(object.position, length * width);
    std::string decoded = width == 1 ? utf8OfLatin1(asText(content)) : utf8OfUTF16(content);
    require(decoded.find('\0') == std::string::npos, textWithNUL);
    meter_.addBytes(decoded.size() - length);
    return decoded;
  }

  [[nodiscard]] std::uint64_t reference(const Object& object, std::size_t index) const {
    return number(object.position + index * referenceWidth_, referenceWidth_);
  }

  PropertyListArray array(Object object, int depth) {
    const auto size = count(object, referenceWidth_);
    PropertyListArray elements;
    for (std::size_t i = 0; i < size; ++i) elements.push_back(value(reference(object, i), depth));
    return elements;
  }

  PropertyListTree dictionary(Object object, int depth) {
    const auto size = count(object, 2 * referenceWidth_);
    PropertyListTree entries;
    for (std::size_t i = 0; i < size; ++i) {
      std::string name = key(reference(object, i));
      addEntry(entries, std::move(name), value(reference(object, size + i), depth));
    }
    return entries;
  }

  std::string key(std::uint64_t reference) {
    const Object found = object(reference);
    require(found.kind == Kind::latin1 || found.kind == Kind::utf16, keyOfOtherKind);
    return text(found);
  }

  ByteView content_;
  PropertyListMeter& meter_;
  std::size_t table_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t topObject_ = 0;
  std::size_t offsetWidth_ = 0;
  std::size_t referenceWidth_ = 0;
};

}  // namespace

PropertyListNode readBinaryPropertyList(ByteView content, PropertyListMeter& meter) {
  return Reader(content, meter).top();
}

}  // namespace brindlewick
