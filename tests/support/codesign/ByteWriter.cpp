#include "support/codesign/ByteWriter.h"

#include <algorithm>
#include <stdexcept>

namespace brindlewick::testing {
namespace {

Bytes bigEndian(std::uint64_t value, int byteCount) {
  Bytes bytes;
  for (int shift = (byteCount - 1) * 8; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  return bytes;
}

Bytes littleEndian(std::uint64_t value, int byteCount) {
  Bytes bytes = bigEndian(value, byteCount);
  std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

void overwrite(Bytes& bytes, std::size_t offset, const Bytes& with) {
  if (offset > bytes.size() || with.size() > bytes.size() - offset) throw std::out_of_range("no such bytes");
  std::copy(with.begin(), with.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

}  // namespace

ByteWriter& ByteWriter::byte(std::uint64_t value) { return raw(bigEndian(value, 1)); }
ByteWriter& ByteWriter::big32(std::uint64_t value) { return raw(bigEndian(value, 4)); }
ByteWriter& ByteWriter::big64(std::uint64_t value) { return raw(bigEndian(value, 8)); }
ByteWriter& ByteWriter::little16(std::uint64_t value) { return raw(littleEndian(value, 2)); }
ByteWriter& ByteWriter::little32(std::uint64_t value) { return raw(littleEndian(value, 4)); }
ByteWriter& ByteWriter::little64(std::uint64_t value) { return raw(littleEndian(value, 8)); }

ByteWriter& ByteWriter::raw(ByteView bytes) {
  append(bytes_, bytes);
  return *this;
}

ByteWriter& ByteWriter::text(std::string_view text) { return raw(asBytes(text)); }

ByteWriter& ByteWriter::field(std::string_view text, std::size_t byteCount) {
  return this->text(text.substr(0, byteCount)).zeros(byteCount - std::min(byteCount, text.size()));
}

ByteWriter& ByteWriter::zeros(std::size_t count) {
  bytes_.resize(bytes_.size() + count);
  return *this;
}

std::uint32_t big32At(const Bytes& bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | bytes.at(offset + i);
  return value;
}

std::uint32_t little32At(const Bytes& bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i > 0; --i) value = value << 8 | bytes.at(offset + i - 1);
  return value;
}

void setBig32(Bytes& bytes, std::size_t offset, std::uint64_t value) { overwrite(bytes, offset, bigEndian(value, 4)); }
void setLittle32(Bytes& bytes, std::size_t offset, std::uint64_t value) {
  overwrite(bytes, offset, littleEndian(value, 4));
}
void setLittle64(Bytes& bytes, std::size_t offset, std::uint64_t value) {
  overwrite(bytes, offset, littleEndian(value, 8));
}

void append(Bytes& bytes, ByteView more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

std::size_t positionOf(const Bytes& bytes, ByteView needle, std::size_t from) {
  if (from > bytes.size()) throw std::out_of_range("no such bytes");
  const auto found =
      std::search(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end(), needle.begin(), needle.end());
  if (found == bytes.end()) throw std::out_of_range("the bytes do not occur");
  return static_cast<std::size_t>(found - bytes.begin());
}

}  // namespace brindlewick::testing
