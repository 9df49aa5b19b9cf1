#include "platform/linux/codesign/UniversalTable.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/codesign/ByteWriter.h"
#include "support/codesign/MachOBuilder.h"
#include "unit/codesign/BrokenRule.h"

namespace brindlewick::codesign {
namespace {

using testing::setBig32;

constexpr std::size_t headerByteCount = 8, entryByteCount = 20, countField = 4;
constexpr std::size_t subtypeField = 4, offsetField = 8, lengthField = 12, alignmentField = 16;
constexpr std::size_t firstSlice = 4096, sliceByteCount = 256, alignment = 8;

constexpr std::size_t entry(std::size_t n, std::size_t field) { return headerByteCount + n * entryByteCount + field; }

/// A universal file with its slices one behind the other; what they hold does not matter here.
Bytes universalFile(std::uint32_t sliceCount) {
  testing::ByteWriter out;
  out.big32(0xcafebabe).big32(sliceCount);
  for (std::uint32_t i = 0; i < sliceCount; ++i)
    out.big32(testing::x86_64).big32(i).big32(firstSlice + i * sliceByteCount).big32(sliceByteCount).big32(alignment);
  out.zeros(firstSlice - out.size());
  out.zeros(sliceCount * sliceByteCount);
  return out.bytes();
}

std::string brokenRule(const Bytes& file) {
  return testing::brokenRuleOf([&] {
    MemorySource source(file);
    static_cast<void>(readUniversalTable(source));
  });
}

/// The rule that a file of two slices breaks after this change.
std::string brokenRuleAfter(void (*change)(Bytes&)) {
  Bytes file = universalFile(2);
  EXPECT_EQ(brokenRule(file), "");
  change(file);
  return brokenRule(file);
}

constexpr const char* behind = "the slices of a universal file lie one behind the other";
constexpr const char* inside = "the slices of a universal file lie inside it";

TEST(UniversalTable, isReadInItsOrder) {
  const Bytes file = universalFile(2);
  MemorySource source(file);
  const auto table = readUniversalTable(source);
  ASSERT_TRUE(table.has_value());
  ASSERT_EQ(table->size(), 2U);
  EXPECT_EQ(table->at(1).architecture, (Architecture{testing::x86_64, 1}));
  EXPECT_EQ(table->at(1).range.offset, firstSlice + sliceByteCount);
  EXPECT_EQ(table->at(1).range.length, sliceByteCount);
}

TEST(UniversalTable, isAbsentFromAThinFile) {
  const Bytes thin(100, 0xcf);
  MemorySource source(thin);
  EXPECT_FALSE(readUniversalTable(source).has_value());
}

TEST(UniversalTable, has1To100Entries) {
  constexpr const char* rule = "a universal file has 1 to 100 slices";
  EXPECT_EQ(brokenRule(universalFile(100)), "");
  EXPECT_EQ(brokenRule(universalFile(101)), rule);
  EXPECT_EQ(brokenRule(universalFile(0)), rule);
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, countField, 0xFFFFFFFF); }), rule);
}

TEST(UniversalTable, liesInItsFileWithOneMoreEntry) {
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { file.resize(entry(3, 0) - 1); }), "a range lies inside its file");
}

TEST(UniversalTable, hidesNoEntryForARM64) {
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(2, 0), testing::arm64); }),
            "no entry hides behind the table of a universal file");
}

TEST(UniversalTable, hasOneSliceForAnArchitecture) {
  constexpr const char* rule = "a universal file has one slice for an architecture";
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(1, subtypeField), 0); }), rule);
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(1, subtypeField), 0x80000000); }), rule);
}

TEST(UniversalTable, keepsItsSlicesApart) {
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(0, lengthField), sliceByteCount + 1); }), behind);
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(1, offsetField), firstSlice); }), behind);
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(0, offsetField), entry(2, 0) - 1); }), behind);
}

TEST(UniversalTable, keepsItsSlicesInTheFile) {
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(1, lengthField), sliceByteCount + 1); }), inside);
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(1, lengthField), 0xFFFFFFFF); }), inside);
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(1, offsetField), file.size() + 1); }), inside);
}

TEST(UniversalTable, leavesOnlyZerosForTheAlignment) {
  constexpr const char* zeros = "only zeros lie between the slices of a universal file";
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { file.at(firstSlice - 1) = 1; }), zeros);
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { file.at(entry(2, 0)) = 1; }), zeros);
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(0, lengthField), sliceByteCount - 1); }), "");
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) {
              setBig32(file, entry(0, lengthField), sliceByteCount - 1);
              file.at(firstSlice + sliceByteCount - 1) = 1;
            }),
            zeros);
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(0, lengthField), 0); }),
            "slices lie no further apart than their alignment asks");
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { setBig32(file, entry(1, alignmentField), 31); }),
            "a slice has a possible alignment");
}

TEST(UniversalTable, endsWithItsLastSlice) {
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { file.push_back(0); }), "a universal file ends with its last slice");
}

TEST(UniversalTable, hasEntriesOf32Bits) {
  EXPECT_EQ(brokenRuleAfter([](Bytes& file) { file.at(3) = 0xbf; }),
            "the table of a universal file has 32-bit entries");
}

}  // namespace
}  // namespace brindlewick::codesign
