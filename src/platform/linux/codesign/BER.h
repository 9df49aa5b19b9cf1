#pragma once

#include "platform/Bytes.h"

/// The bytes of ASN.1 elements as they stand (X.690, basic encoding rules): a signature covers an encoding, and not the
/// value that a decoder makes of it and writes again in its own way.
///
/// Accepts single-byte tags, definite lengths of up to four further bytes, and indefinite lengths of constructed
/// elements. Reading an element takes time linear in its length, whatever it nests, and no recursion; indefinite
/// lengths nest at most 32 deep.
namespace brindlewick::codesign::ber {

inline constexpr std::uint8_t integer = 0x02;
inline constexpr std::uint8_t octetString = 0x04;
inline constexpr std::uint8_t null = 0x05;
inline constexpr std::uint8_t objectIdentifier = 0x06;
inline constexpr std::uint8_t sequence = 0x30;
inline constexpr std::uint8_t set = 0x31;
/// A constructed element with the context-specific tag of this number.
[[nodiscard]] constexpr std::uint8_t context(unsigned number) { return static_cast<std::uint8_t>(0xA0 | number); }
/// A primitive one.
[[nodiscard]] constexpr std::uint8_t primitiveContext(unsigned number) {
  return static_cast<std::uint8_t>(0x80 | number);
}

struct Element {
  std::uint8_t tag = 0;
  ByteView content;   ///< without the end mark of an indefinite length
  ByteView encoding;  ///< everything, from the tag on
};

/// Reads elements that follow each other. What is none throws Refusal.
class Reader {
 public:
  explicit Reader(ByteView bytes) noexcept : rest_(bytes) {}
  /// The elements inside of one.
  explicit Reader(const Element& element) noexcept : rest_(element.content) {}

  [[nodiscard]] bool isAtEnd() const noexcept { return rest_.empty(); }
  [[nodiscard]] ByteView rest() const noexcept { return rest_; }
  Element next();
  /// The next element, which must have this tag.
  Element next(std::uint8_t tag);

 private:
  ByteView rest_;
};

/// The only element in these bytes, which must have this tag.
[[nodiscard]] Element only(ByteView bytes, std::uint8_t tag);

}  // namespace brindlewick::codesign::ber
