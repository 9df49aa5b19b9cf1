#include "FileArchitectures.h"

#include <algorithm>

#include "ArchiveMembers.h"
#include "MachOHeader.h"
#include "Refusal.h"
#include "platform/linux/codesign/ByteFields.h"

namespace brindlewick::lipo {
namespace {

using codesign::big32;
using codesign::big64;

constexpr std::uint32_t universalMagic = 0xCAFEBABE;
constexpr std::uint32_t universalMagic64 = 0xCAFEBABF;
// What the loader accepts. A Java class has the same magic; what stands here is its version then.
constexpr std::uint32_t maximumSliceCount = 100;
constexpr std::uint32_t maximumAlignment = 30;

struct Slice {
  Architecture architecture;
  std::uint64_t offset = 0;
  std::uint64_t byteCount = 0;
  std::uint32_t alignment = 0;  ///< as a power of two
};

Slice sliceOf(ByteView entry, bool isWide) {
  const auto architecture = Architecture::withoutFeatures(big32(entry, 0), big32(entry, 4));
  if (isWide) return {architecture, big64(entry, 8), big64(entry, 16), big32(entry, 24)};
  return {architecture, big32(entry, 8), big32(entry, 12), big32(entry, 16)};
}

void require(bool holds, const char* otherwise) {
  if (!holds) throw Refusal(otherwise);
}

void requireSound(std::vector<Slice> slices, std::uint64_t tableEnd, const InputFile& file) {
  std::ranges::sort(slices, {}, &Slice::offset);
  std::uint64_t end = tableEnd;
  for (const Slice& slice : slices) {
    require(file.contains(slice.offset, slice.byteCount), "malformed universal file: a slice reaches beyond the file");
    require(slice.byteCount > 0 && slice.offset >= end, "malformed universal file: slices are empty or overlap");
    require(slice.alignment <= maximumAlignment && slice.offset % (std::uint64_t{1} << slice.alignment) == 0,
            "malformed universal file: a slice is not aligned");
    end = slice.offset + slice.byteCount;
  }
  std::ranges::sort(slices, {}, &Slice::architecture);
  require(std::ranges::adjacent_find(slices, {}, &Slice::architecture) == slices.end(),
          "malformed universal file: it contains two of the same architecture");
}

std::vector<Architecture> universalArchitectures(const InputFile& file, bool isWide) {
  const std::uint64_t entryByteCount = isWide ? 32 : 20;
  const std::uint32_t count = big32(file.read(4, 4), 0);
  require(count > 0 && count <= maximumSliceCount, "malformed universal file: the number of its slices is impossible");
  const Bytes table = file.read(8, count * entryByteCount);
  std::vector<Slice> slices;
  std::vector<Architecture> architectures;
  for (std::uint64_t at = 0; at < table.size(); at += entryByteCount) {
    slices.push_back(sliceOf(codesign::range(table, at, entryByteCount), isWide));
    architectures.push_back(slices.back().architecture);
  }
  requireSound(std::move(slices), 8 + table.size(), file);
  return architectures;
}

}  // namespace

std::vector<Architecture> architecturesOf(const InputFile& file) {
  if (isArchive(file)) return {archiveArchitecture(file)};
  if (const auto header = machOHeader(file, 0, file.byteCount())) return {*header};
  const std::uint32_t magic = file.contains(0, 8) ? big32(file.read(0, 4), 0) : 0;
  require(magic == universalMagic || magic == universalMagic64, "can't figure out the architecture type");
  return universalArchitectures(file, magic == universalMagic64);
}

}  // namespace brindlewick::lipo
