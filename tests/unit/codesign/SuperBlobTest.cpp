#include "platform/linux/codesign/SuperBlob.h"

#include <gtest/gtest.h>

#include "platform/linux/codesign/Refusal.h"
#include "support/codesign/ByteWriter.h"
#include "support/codesign/CodeSigner.h"

namespace brindlewick::codesign {
namespace {

using testing::setBig32;
using testing::SlotBlobs;
using testing::superBlob;

/// Blobs of no known kind, one in each slot from 0x7000 on.
SlotBlobs unknownBlobs(std::size_t count) {
  SlotBlobs blobs;
  for (std::size_t i = 0; i < count; ++i)
    blobs.emplace_back(static_cast<std::uint32_t>(0x7000 + i), testing::blob(0xfade7777, Bytes(4, 1)));
  return blobs;
}

std::string brokenRule(const Bytes& bytes) try {
  static_cast<void>(SuperBlob::parse(bytes));
  return "";
} catch (const Refusal& refusal) {
  return refusal.what();
}

/// The rule that two blobs of twelve bytes each break after one field of their container is changed.
std::string brokenRuleWith(std::size_t field, std::uint32_t value) {
  Bytes bytes = superBlob(unknownBlobs(2));
  EXPECT_EQ(brokenRule(bytes), "");
  setBig32(bytes, field, value);
  return brokenRule(bytes);
}

constexpr std::size_t lengthField = 4, countField = 8, firstOffset = 16, secondSlot = 20, secondOffset = 24;
constexpr std::uint32_t indexEnd = 28, blobByteCount = 12, end = indexEnd + 2 * blobByteCount;

TEST(SuperBlob, holdsAtMost64Blobs) {
  EXPECT_EQ(brokenRule(superBlob(unknownBlobs(64))), "");
  EXPECT_EQ(brokenRule(superBlob(unknownBlobs(65))), "a signature has at most 64 blobs");
}

TEST(SuperBlob, isNotLongerOrShorterThanItsBytes) {
  EXPECT_EQ(brokenRuleWith(lengthField, end + 1), "a SuperBlob has its length");
  EXPECT_EQ(brokenRuleWith(lengthField, end - 1), "a SuperBlob has its length");
}

TEST(SuperBlob, holdsItsIndex) {
  EXPECT_EQ(brokenRuleWith(countField, 6), "the index lies inside its SuperBlob");
  EXPECT_EQ(brokenRule({0xfa, 0xde, 0x0c, 0xc0, 0, 0, 0, 11, 0, 0, 0}), "a range lies inside its bytes");
}

TEST(SuperBlob, keepsItsBlobsApart) {
  EXPECT_EQ(brokenRuleWith(firstOffset, indexEnd - 1), "a blob lies behind the index");
  EXPECT_EQ(brokenRuleWith(indexEnd + 4, blobByteCount + 1), "blobs lie apart");
  EXPECT_EQ(brokenRuleWith(secondOffset, indexEnd), "blobs lie apart");
  EXPECT_EQ(brokenRuleWith(indexEnd + 4, 7), "a blob holds its header");
  EXPECT_EQ(brokenRuleWith(indexEnd + blobByteCount + 4, blobByteCount + 1), "a range lies inside its bytes");
  EXPECT_EQ(brokenRuleWith(secondOffset, end), "a range lies inside its bytes");
}

TEST(SuperBlob, hasOneBlobInASlot) { EXPECT_EQ(brokenRuleWith(secondSlot, 0x7000), "a slot has one blob"); }

TEST(SuperBlob, holdsInEachSlotABlobOfItsKind) {
  for (const std::uint32_t slot :
       {0x0U, 0x2U, 0x4U, 0x5U, 0x6U, 0x7U, 0x8U, 0x9U, 0xAU, 0xBU, 0x1000U, 0x1004U, 0x10000U})
    EXPECT_EQ(brokenRuleWith(secondSlot, slot), "a blob is of the kind of its slot") << slot;
  for (const std::uint32_t slot : {0xCU, 0x1005U, 0x10001U}) EXPECT_EQ(brokenRuleWith(secondSlot, slot), "") << slot;
}

}  // namespace
}  // namespace brindlewick::codesign
