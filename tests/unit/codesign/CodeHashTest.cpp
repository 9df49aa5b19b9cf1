#include "platform/linux/codesign/CodeHash.h"

#include <gtest/gtest.h>

#include <utility>

#include "platform/TextCoding.h"

namespace brindlewick::codesign {
namespace {

std::string hex(const HashValue& value) { return encodeHex(value.bytes()); }

TEST(CodeHash, hasTheNumbersOfTheDirectory) {
  EXPECT_EQ(hashTypeOf(1), HashType::sha1);
  EXPECT_EQ(hashTypeOf(2), HashType::sha256);
  EXPECT_EQ(hashTypeOf(3), HashType::sha256Truncated);
  EXPECT_EQ(hashTypeOf(4), HashType::sha384);
  EXPECT_EQ(hashTypeOf(0), std::nullopt);
  EXPECT_EQ(hashTypeOf(5), std::nullopt);
  EXPECT_EQ(hashTypeOf(255), std::nullopt);
}

// The digests of "abc" in FIPS 180-4's examples.
TEST(CodeHash, hashesUnderEachType) {
  const ByteView abc = asBytes("abc");
  EXPECT_EQ(hex(hashOf(HashType::sha1, abc)), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(hex(hashOf(HashType::sha256, abc)), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(hex(hashOf(HashType::sha256Truncated, abc)), "ba7816bf8f01cfea414140de5dae2223b00361a3");
  EXPECT_EQ(hex(hashOf(HashType::sha384, abc)),
            "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7");
  for (const HashType type : {HashType::sha1, HashType::sha256, HashType::sha256Truncated, HashType::sha384})
    EXPECT_EQ(hashOf(type, abc).bytes().size(), hashSize(type));
}

TEST(CodeHasher, beginsAnewAfterEachHash) {
  CodeHasher hasher(HashType::sha256);
  for (int round = 0; round < 3; ++round) {
    hasher.update(asBytes("a"));
    hasher.update({});
    hasher.update(asBytes("bc"));
    EXPECT_TRUE(hasher.finish().equals(hashOf(HashType::sha256, asBytes("abc")).bytes()));
  }
  EXPECT_TRUE(hasher.finish().equals(hashOf(HashType::sha256, {}).bytes()));
}

TEST(CodeHasher, goesOnWhereItIsMovedTo) {
  CodeHasher first(HashType::sha1);
  first.update(asBytes("ab"));
  CodeHasher second = std::move(first);
  second.update(asBytes("c"));
  EXPECT_EQ(second.type(), HashType::sha1);
  EXPECT_EQ(hex(second.finish()), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST(HashValue, equalsNothingOfAnotherLength) {
  const HashValue hash = hashOf(HashType::sha256, asBytes("abc"));
  EXPECT_FALSE(hash.equals(hash.bytes().first(20)));
  EXPECT_FALSE(hash.equals({}));
  EXPECT_FALSE(hash.equals(hashOf(HashType::sha256, asBytes("abd")).bytes()));
}

}  // namespace
}  // namespace brindlewick::codesign
