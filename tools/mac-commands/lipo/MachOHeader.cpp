#include "MachOHeader.h"

#include "Refusal.h"
#include "platform/linux/codesign/ByteFields.h"

namespace brindlewick::lipo {
namespace {

constexpr std::uint32_t magic32 = 0xFEEDFACE;
constexpr std::uint32_t magic64 = 0xFEEDFACF;
constexpr std::uint64_t headerByteCount32 = 28;
constexpr std::uint64_t headerByteCount64 = 32;
constexpr std::uint64_t smallestCommandByteCount = 8;

bool isMagic(std::uint32_t number) { return number == magic32 || number == magic64; }

}  // namespace

std::optional<Architecture> machOHeader(const InputFile& file, std::uint64_t offset, std::uint64_t byteCount) {
  if (byteCount < 4) return std::nullopt;
  const Bytes magic = file.read(offset, 4);
  const bool isBig = isMagic(codesign::big32(magic, 0));
  if (!isBig && !isMagic(codesign::little32(magic, 0))) return std::nullopt;
  const auto number = [isBig](ByteView bytes, std::uint64_t at) {
    return isBig ? codesign::big32(bytes, at) : codesign::little32(bytes, at);
  };
  const std::uint64_t headerByteCount = number(magic, 0) == magic64 ? headerByteCount64 : headerByteCount32;
  if (byteCount < headerByteCount) throw Refusal("truncated or malformed object");
  const Bytes header = file.read(offset, headerByteCount);
  const std::uint64_t commandCount = number(header, 16);
  const std::uint64_t commandByteCount = number(header, 20);
  if (commandByteCount > byteCount - headerByteCount || commandCount * smallestCommandByteCount > commandByteCount)
    throw Refusal("truncated or malformed object: its load commands do not fit");
  return Architecture::withoutFeatures(number(header, 4), number(header, 8));
}

}  // namespace brindlewick::lipo
