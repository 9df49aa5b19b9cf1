#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>

#include "platform/linux/codesign/ByteFields.h"
#include "platform/linux/codesign/MachO.h"
#include "support/codesign/ByteWriter.h"
#include "support/codesign/MachOBuilder.h"

namespace brindlewick::codesign {
namespace {

using testing::ByteWriter;

constexpr std::uint32_t headerByteCount = 32, linkEditByteCount = 72, signatureByteCount = 16;
constexpr std::uint32_t largestCommands = 1 << 20;

/// The head of a slice: its commands are one of no meaning, as long as it takes, the link-edit data and a signature at
/// the slice's end.
Bytes sliceHead(std::uint32_t cpuSubtype, std::uint64_t sliceByteCount, std::uint32_t commandsByteCount) {
  const std::uint32_t filler = commandsByteCount - linkEditByteCount - signatureByteCount;
  ByteWriter out;
  out.little32(0xfeedfacf).little32(testing::x86_64).little32(cpuSubtype).little32(testing::executableFile);
  out.little32(3).little32(commandsByteCount).zeros(8);
  out.little32(0x7777).little32(filler).zeros(filler - 8);
  out.little32(testing::segment64Command).little32(linkEditByteCount).field("__LINKEDIT", 16).zeros(16);
  out.little64(0).little64(sliceByteCount).zeros(16);
  out.little32(testing::codeSignatureCommand).little32(signatureByteCount).little32(sliceByteCount - 8).little32(8);
  return out.bytes();
}

/// A universal file that is nearly all holes: nothing but its table and the heads of its slices is there.
class SparseFile final : public ByteSource {
 public:
  static constexpr std::uint64_t sliceByteCount = 2 << 20;

  explicit SparseFile(std::uint32_t sliceCount) : sliceCount_(sliceCount) {
    ByteWriter table;
    table.big32(0xcafebabe).big32(sliceCount);
    for (std::uint32_t i = 0; i < sliceCount; ++i)
      table.big32(testing::x86_64).big32(i).big32(firstSlice + i * sliceByteCount).big32(sliceByteCount).big32(0);
    table_ = table.bytes();
  }

  [[nodiscard]] std::uint64_t size() const override { return firstSlice + sliceCount_ * sliceByteCount; }

  void readInto(std::span<std::uint8_t> into, std::uint64_t offset) override {
    const Bytes part = offset < firstSlice ? table_ : headAt(offset);
    std::ranges::fill(into, std::uint8_t{0});
    const std::uint64_t begin = offset < firstSlice ? offset : (offset - firstSlice) % sliceByteCount;
    if (begin < part.size()) {
      const ByteView there = rest(part, begin);
      std::copy_n(there.begin(), std::min(there.size(), into.size()), into.begin());
    }
  }

 private:
  static constexpr std::uint64_t firstSlice = 4096;

  static Bytes headAt(std::uint64_t offset) {
    return sliceHead(static_cast<std::uint32_t>((offset - firstSlice) / sliceByteCount), sliceByteCount,
                     largestCommands);
  }

  std::uint32_t sliceCount_;
  Bytes table_;
};

std::size_t memoryInUse() {
  const auto use = mallinfo2();
  return use.uordblks + use.hblkhd;
}

TEST(MachOSizes, keepTheCommandsOfOneSliceAtATime) {
  SparseFile file(100);
  const std::size_t before = memoryInUse();
  std::size_t most = before, count = 0;
  forEachSlice(file, [&](const MachOSlice& slice) {
    EXPECT_EQ(slice.head.size(), headerByteCount + largestCommands);
    most = std::max(most, memoryInUse());
    ++count;
  });
  EXPECT_EQ(count, 100U);
  EXPECT_LT(most - before, std::size_t{8} << 20);
}

TEST(MachOSizes, refuseCommandsOfMoreThan1MiB) {
  const std::uint64_t byteCount = 4 << 20;
  Bytes file = sliceHead(3, byteCount, largestCommands);
  file.resize(byteCount);
  MemorySource good(file);
  EXPECT_EQ(readSlice(good, {0, byteCount}).signature.length, 8U);
  file = sliceHead(3, byteCount, largestCommands + 4);
  file.resize(byteCount);
  MemorySource large(file);
  try {
    static_cast<void>(readSlice(large, {0, byteCount}));
    FAIL() << "accepted";
  } catch (const Refusal& refusal) {
    EXPECT_STREQ(refusal.what(), "load commands have at most 1 MiB");
  }
}

}  // namespace
}  // namespace brindlewick::codesign
