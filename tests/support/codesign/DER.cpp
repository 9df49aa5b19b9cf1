#include "support/codesign/DER.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <string>

#include "support/codesign/ByteWriter.h"

namespace brindlewick::testing::der {
namespace {

Bytes definiteLength(std::size_t length) {
  if (length < 0x80) return {static_cast<std::uint8_t>(length)};
  Bytes bytes;
  for (; length > 0; length >>= 8) bytes.insert(bytes.begin(), static_cast<std::uint8_t>(length));
  bytes.insert(bytes.begin(), static_cast<std::uint8_t>(0x80 | bytes.size()));
  return bytes;
}

void appendBase128(Bytes& bytes, std::uint64_t value) {
  Bytes digits{static_cast<std::uint8_t>(value & 0x7F)};
  for (value >>= 7; value > 0; value >>= 7)
    digits.insert(digits.begin(), static_cast<std::uint8_t>(0x80 | (value & 0x7F)));
  append(bytes, digits);
}

Bytes timeElement(std::uint8_t tag, Time time, const char* format) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), format, &parts);
  return element(tag, asBytes({text.data(), length}));
}

}  // namespace

Bytes join(const std::vector<Bytes>& elements) {
  Bytes joined;
  for (const Bytes& element : elements) append(joined, element);
  return joined;
}

Bytes element(std::uint8_t tag, ByteView content, Length length) {
  Bytes bytes{tag};
  append(bytes, length == Length::definite ? definiteLength(content.size()) : Bytes{0x80});
  append(bytes, content);
  if (length == Length::indefinite) append(bytes, Bytes{0, 0});
  return bytes;
}

Bytes sequence(const std::vector<Bytes>& elements, Length length) { return element(0x30, join(elements), length); }
Bytes set(const std::vector<Bytes>& elements) { return element(0x31, join(elements)); }

std::vector<Bytes> sorted(std::vector<Bytes> elements) {
  // GCC 12 warns of a read beyond the end in the standard library's own comparison of two vectors of bytes.
  std::sort(elements.begin(), elements.end(), [](const Bytes& left, const Bytes& right) {
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end());
  });
  return elements;
}

Bytes context(unsigned number, ByteView content, Length length) {
  return element(static_cast<std::uint8_t>(0xA0 | number), content, length);
}

Bytes integer(std::uint64_t value) {
  Bytes bytes;
  do {
    bytes.insert(bytes.begin(), static_cast<std::uint8_t>(value));
    value >>= 8;
  } while (value > 0);
  if ((bytes.front() & 0x80) != 0) bytes.insert(bytes.begin(), 0);
  return element(0x02, bytes);
}

Bytes octets(ByteView content) { return element(0x04, content); }
Bytes null() { return {0x05, 0x00}; }
Bytes utf8(std::string_view text) { return element(0x0C, asBytes(text)); }

Bytes oid(std::string_view dotted) {
  std::vector<std::uint64_t> arcs;
  for (std::size_t start = 0; start <= dotted.size();) {
    const std::size_t dot = std::min(dotted.find('.', start), dotted.size());
    arcs.push_back(std::stoull(std::string(dotted.substr(start, dot - start))));
    start = dot + 1;
  }
  Bytes content;
  appendBase128(content, arcs.at(0) * 40 + arcs.at(1));
  for (std::size_t i = 2; i < arcs.size(); ++i) appendBase128(content, arcs[i]);
  return element(0x06, content);
}

Bytes algorithm(std::string_view dotted) { return sequence({oid(dotted), null()}); }
Bytes utcTime(Time time) { return timeElement(0x17, time, "%y%m%d%H%M%SZ"); }
Bytes generalizedTime(Time time) { return timeElement(0x18, time, "%Y%m%d%H%M%SZ"); }

}  // namespace brindlewick::testing::der
