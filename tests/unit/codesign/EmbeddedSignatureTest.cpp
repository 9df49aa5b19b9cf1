#include "platform/linux/codesign/EmbeddedSignature.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "support/codesign/ByteWriter.h"
#include "support/codesign/CodeSigner.h"
#include "unit/codesign/BrokenRule.h"

namespace brindlewick::codesign {
namespace {

using testing::alternateDirectorySlot;
using testing::DirectoryShape;
using testing::SlotBlobs;

constexpr std::uint32_t wrapperMagic = 0xfade0b01;

DirectoryShape ofType(std::uint8_t hashType) {
  DirectoryShape shape;
  shape.hashType = hashType;
  shape.flags = adHocFlag;
  return shape;
}

Bytes directory(const DirectoryShape& shape) {
  static const Bytes code(0x1800, 7);
  return testing::codeDirectory(shape, {"com.brindlewick.app", "TEAM123456", code, {}});
}

std::string brokenRule(const SlotBlobs& blobs) {
  return testing::brokenRuleOf([&] { static_cast<void>(EmbeddedSignature::parse(testing::superBlob(blobs))); });
}

/// The rule that a good base and an alternate break which differs from it in one field.
std::string brokenRuleBeside(void (*change)(DirectoryShape&)) {
  DirectoryShape alternate = ofType(2);
  const Bytes base = directory(ofType(1));
  EXPECT_EQ(brokenRule({{0, base}, {alternateDirectorySlot, directory(alternate)}}), "");
  change(alternate);
  return brokenRule({{0, base}, {alternateDirectorySlot, directory(alternate)}});
}

/// The rule that a good signature breaks in a room of so many bytes, with padding behind it.
std::string brokenRuleInRoom(std::uint64_t roomByteCount, const std::optional<std::uint32_t>& length = std::nullopt) {
  Bytes file = testing::superBlob({{0, directory(ofType(2))}});
  if (length) testing::setBig32(file, 4, *length);
  file.resize(8192, 0xFF);
  MachOSlice slice;
  slice.range = {0, file.size()};
  slice.signature = {0, roomByteCount};
  MemorySource source(file);
  return testing::brokenRuleOf([&] { static_cast<void>(EmbeddedSignature::read(source, slice)); });
}

TEST(EmbeddedSignature, liesInItsRoom) {
  const std::uint64_t byteCount = testing::superBlob({{0, directory(ofType(2))}}).size();
  EXPECT_EQ(brokenRuleInRoom(8192), "");
  EXPECT_EQ(brokenRuleInRoom(byteCount), "");
  EXPECT_EQ(brokenRuleInRoom(byteCount - 1), "a SuperBlob lies in its room");
  EXPECT_EQ(brokenRuleInRoom(8192, 8193), "a SuperBlob lies in its room");
  EXPECT_EQ(brokenRuleInRoom(8192, 0xFFFFFFFF), "a SuperBlob lies in its room");
  EXPECT_EQ(brokenRuleInRoom(8192, 7), "a SuperBlob lies in its room");
  EXPECT_EQ(brokenRuleInRoom(7), "there is room for a signature");
}

TEST(EmbeddedSignature, hasABaseDirectory) {
  EXPECT_EQ(brokenRule({{alternateDirectorySlot, directory(ofType(2))}}), "a signature has a directory");
}

TEST(EmbeddedSignature, hasNoGapBetweenItsAlternates) {
  constexpr const char* rule = "alternate directories follow each other";
  const Bytes base = directory(ofType(1)), second = directory(ofType(2)), third = directory(ofType(4));
  EXPECT_EQ(brokenRule({{0, base}, {0x1000, second}, {0x1001, third}}), "");
  EXPECT_EQ(brokenRule({{0, base}, {0x1001, second}}), rule);
  EXPECT_EQ(brokenRule({{0, base}, {0x1000, second}, {0x1002, third}}), rule);
  EXPECT_EQ(brokenRule({{0, base}, {0x1000, second}, {0x1004, third}}), rule);
}

TEST(EmbeddedSignature, hasDirectoriesThatAgree) {
  constexpr const char* rule = "the directories of a signature agree";
  EXPECT_EQ(brokenRuleBeside([](DirectoryShape& d) { d.identifier = "com.brindlewick.other"; }), rule);
  EXPECT_EQ(brokenRuleBeside([](DirectoryShape& d) { d.team = "TEAM654321"; }), rule);
  EXPECT_EQ(brokenRuleBeside([](DirectoryShape& d) { d.team = ""; }), rule);
  EXPECT_EQ(brokenRuleBeside([](DirectoryShape& d) { d.flags |= 0x10000; }), rule);
  EXPECT_EQ(brokenRuleBeside([](DirectoryShape& d) { d.codeLimit = 0x17FF; }), rule);
}

TEST(EmbeddedSignature, hasOneDirectoryForAHashType) {
  EXPECT_EQ(brokenRuleBeside([](DirectoryShape& d) { d.hashType = 1; }),
            "the directories of a signature differ in their hashes");
}

TEST(EmbeddedSignature, isNamedByItsStrongestHash) {
  const std::pair<std::vector<std::uint8_t>, HashType> choices[] = {
      {{1, 2}, HashType::sha256}, {{2, 1}, HashType::sha256},          {{2, 4}, HashType::sha384},
      {{3, 2}, HashType::sha256}, {{1, 3}, HashType::sha256Truncated}, {{1, 3, 2, 4}, HashType::sha384}};
  for (const auto& [hashTypes, best] : choices) {
    SlotBlobs blobs;
    for (const std::uint8_t hashType : hashTypes) {
      const auto place = static_cast<std::uint32_t>(blobs.size());
      blobs.emplace_back(place == 0 ? 0 : alternateDirectorySlot + place - 1, directory(ofType(hashType)));
    }
    EXPECT_EQ(EmbeddedSignature::parse(testing::superBlob(blobs)).best().hashType, best);
  }
}

TEST(EmbeddedSignature, hasAMessageUnlessItIsAdHoc) {
  constexpr const char* rule = "code is ad-hoc signed or has a message";
  DirectoryShape certified = ofType(2);
  certified.flags = 0;
  const Bytes adHoc = directory(ofType(2)), signedByOne = directory(certified);
  const Bytes empty = testing::blob(wrapperMagic, {}), message = testing::blob(wrapperMagic, asBytes("message"));
  EXPECT_EQ(brokenRule({{0, adHoc}}), "");
  EXPECT_EQ(brokenRule({{0, adHoc}, {testing::messageSlot, empty}}), "");
  EXPECT_EQ(brokenRule({{0, adHoc}, {testing::messageSlot, message}}), rule);
  EXPECT_EQ(brokenRule({{0, signedByOne}}), rule);
  EXPECT_EQ(brokenRule({{0, signedByOne}, {testing::messageSlot, empty}}), rule);
  EXPECT_EQ(brokenRule({{0, signedByOne}, {testing::messageSlot, message}}), "");
}

}  // namespace
}  // namespace brindlewick::codesign
