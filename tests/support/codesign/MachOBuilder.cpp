#include "support/codesign/MachOBuilder.h"

#include <algorithm>
#include <random>
#include <stdexcept>

#include "support/codesign/ByteWriter.h"

namespace brindlewick::testing {
namespace {

constexpr std::size_t headerByteCount = 32;
constexpr std::size_t commandsEnd = 0x400;
constexpr std::size_t linkEditByteCount = 0x110;  ///< in front of the signature

struct Segment {
  std::string name;
  std::uint64_t offset, byteCount;
};

void writeSegment(ByteWriter& out, const Segment& segment, std::size_t informationByteCount) {
  const bool hasSection = informationByteCount > 0;
  out.little32(segment64Command).little32(hasSection ? 72 + 80 : 72).field(segment.name, 16);
  out.little64(0x100000000 + segment.offset).little64((segment.byteCount + 0x3FFF) & ~0x3FFFULL);
  out.little64(segment.offset)
      .little64(segment.byteCount)
      .little32(5)
      .little32(5)
      .little32(hasSection ? 1 : 0)
      .little32(0);
  if (!hasSection) return;
  out.field("__info_plist", 16).field("__TEXT", 16).little64(0x100000000 + commandsEnd).little64(informationByteCount);
  out.little32(commandsEnd).zeros(28);
}

Bytes commandsOf(const SliceShape& shape, std::size_t signatureByteCount, std::uint32_t& count) {
  const std::size_t linkEdit = shape.codeByteCount - linkEditByteCount;
  const std::size_t information = shape.informationSection ? shape.informationSection->size() : 0;
  ByteWriter out;
  writeSegment(out, {"__TEXT", 0, linkEdit}, information);
  writeSegment(out, {"__LINKEDIT", linkEdit, linkEditByteCount + signatureByteCount}, 0);
  count = 2;
  if (signatureByteCount > 0) {
    out.little32(codeSignatureCommand).little32(16).little32(shape.codeByteCount).little32(signatureByteCount);
    ++count;
  }
  return out.bytes();
}

/// The slice with room for its signature.
Bytes unsignedSlice(const SliceShape& shape) {
  const std::size_t signatureByteCount = shape.signature.kind == SignatureKind::none ? 0 : shape.signatureByteCount;
  std::uint32_t count = 0;
  const Bytes commands = commandsOf(shape, signatureByteCount, count);
  ByteWriter out;
  out.little32(0xfeedfacf).little32(shape.cpuType).little32(shape.cpuSubtype).little32(shape.fileType);
  out.little32(count).little32(commands.size()).little32(0x200085).little32(0).raw(commands);
  out.zeros(commandsEnd - out.size());
  if (shape.informationSection) out.text(*shape.informationSection);
  std::minstd_rand random(static_cast<std::minstd_rand::result_type>(shape.seed * 2 + shape.cpuType));
  while (out.size() + 4 <= shape.codeByteCount) out.little32(random());
  out.zeros(shape.codeByteCount + signatureByteCount - out.size());
  return out.bytes();
}

Bytes signedSlice(const SliceShape& shape, const SigningContext& context, Bytes& codeHash) {
  Bytes slice = unsignedSlice(shape);
  if (shape.beforeSigning) shape.beforeSigning(slice);
  if (shape.signature.kind != SignatureKind::none) {
    SigningContext inner = context;
    if (shape.informationSection) {
      const ByteView information = asBytes(*shape.informationSection);
      inner.sealedFiles[1] = Bytes(information.begin(), information.end());
    }
    const CodeSignature signature = sign(shape.signature, ByteView(slice).first(shape.codeByteCount), inner);
    if (signature.superBlob.size() > shape.signatureByteCount) throw std::length_error("no room for the signature");
    std::copy(signature.superBlob.begin(), signature.superBlob.end(),
              slice.begin() + static_cast<std::ptrdiff_t>(shape.codeByteCount));
    codeHash = signature.codeHash;
  }
  if (shape.afterSigning) shape.afterSigning(slice);
  return slice;
}

Bytes universalFile(const CodeFileShape& shape, const std::vector<Bytes>& slices) {
  const std::size_t unit = std::size_t{1} << shape.alignment;
  ByteWriter header, content;
  header.big32(0xcafebabe).big32(slices.size());
  const std::size_t contentStart = (8 + 20 * slices.size() + unit - 1) / unit * unit;
  for (std::size_t i = 0; i < slices.size(); ++i) {
    content.zeros((unit - content.size() % unit) % unit);
    header.big32(shape.slices[i].cpuType).big32(shape.slices[i].cpuSubtype & 0x00FFFFFF);
    header.big32(contentStart + content.size()).big32(slices[i].size()).big32(shape.alignment);
    content.raw(slices[i]);
  }
  header.zeros(contentStart - header.size());
  return header.raw(content.bytes()).bytes();
}

}  // namespace

CodeFileShape CodeFileShape::universal(std::uint32_t fileType, std::uint64_t seed) {
  SliceShape intel;
  intel.cpuType = x86_64;
  intel.cpuSubtype = 0x80000003;  // the top byte holds feature bits, which the entry of the table does not repeat
  SliceShape apple;
  CodeFileShape shape;
  shape.slices = {intel, apple};
  for (SliceShape& slice : shape.slices) {
    slice.fileType = fileType;
    slice.seed = seed;
  }
  return shape;
}

SignedCode signedCode(const CodeFileShape& shape, const SigningContext& context) {
  SignedCode code;
  std::vector<Bytes> slices;
  for (const SliceShape& slice : shape.slices) {
    code.codeHashes.emplace_back();
    slices.push_back(signedSlice(slice, context, code.codeHashes.back()));
  }
  code.file = shape.isUniversal || slices.size() > 1 ? universalFile(shape, slices) : slices.at(0);
  if (shape.spoil) shape.spoil(code.file);
  return code;
}

std::size_t commandOffset(const Bytes& slice, std::uint32_t command, std::size_t n) {
  std::size_t offset = headerByteCount;
  for (std::uint32_t left = little32At(slice, 16); left > 0; --left) {
    if (little32At(slice, offset) == command && n-- == 0) return offset;
    offset += little32At(slice, offset + 4);
  }
  throw std::out_of_range("no such load command");
}

std::size_t sliceOffset(const Bytes& file, std::size_t n) { return big32At(file, 8 + 20 * n + 8); }
std::size_t sliceByteCount(const Bytes& file, std::size_t n) { return big32At(file, 8 + 20 * n + 12); }
std::size_t signatureOffset(const Bytes& slice) {
  return little32At(slice, commandOffset(slice, codeSignatureCommand) + 8);
}

}  // namespace brindlewick::testing
