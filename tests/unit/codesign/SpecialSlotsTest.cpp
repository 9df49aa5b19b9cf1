#include "platform/linux/codesign/SpecialSlots.h"

#include <gtest/gtest.h>

namespace brindlewick::codesign {
namespace {

// Its bytes must stay; here they change, which shows when they are hashed.
TEST(SealedContent, isHashedOnceUnderEachType) {
  Bytes bytes(100, 1);
  const Bytes before = bytes;
  SealedContent content(bytes);
  EXPECT_TRUE(content.hash(HashType::sha256).equals(hashOf(HashType::sha256, before).bytes()));
  bytes[0] = 2;
  EXPECT_TRUE(content.hash(HashType::sha256).equals(hashOf(HashType::sha256, before).bytes()));
  EXPECT_TRUE(content.hash(HashType::sha384).equals(hashOf(HashType::sha384, bytes).bytes()));
}

}  // namespace
}  // namespace brindlewick::codesign
