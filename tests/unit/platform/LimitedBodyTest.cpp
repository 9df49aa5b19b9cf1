#include "platform/LimitedBody.h"

#include <gtest/gtest.h>

namespace brindlewick {
namespace {

TEST(LimitedBody, takesExactlyItsLimit) {
  LimitedBody body(4);
  EXPECT_TRUE(body.wants(4));
  EXPECT_TRUE(body.append(asBytes("ab")));
  EXPECT_TRUE(body.append(asBytes("cd")));
  EXPECT_FALSE(body.exceededLimit());
  EXPECT_EQ(asText(body.take()), "abcd");
}

TEST(LimitedBody, wantsNoMoreOnceOneByteIsTooMany) {
  LimitedBody body(4);
  EXPECT_FALSE(body.append(asBytes("abcde")));
  EXPECT_TRUE(body.exceededLimit());
  EXPECT_FALSE(body.append(asBytes("f")));
  EXPECT_EQ(asText(body.take()), "abcde");
}

TEST(LimitedBody, wantsNothingOfABodyDeclaredTooLong) {
  LimitedBody body(4);
  EXPECT_FALSE(body.wants(5));
  EXPECT_TRUE(body.exceededLimit());
  EXPECT_FALSE(body.append(asBytes("a")));
  EXPECT_TRUE(body.take().empty());
}

TEST(LimitedBody, wantsABodyOfUndeclaredLength) {
  EXPECT_TRUE(LimitedBody(4).wants(declaredByteCount(-1)));
  EXPECT_TRUE(LimitedBody(4).wants(declaredByteCount(0)));
}

TEST(DeclaredByteCount, isAbsentForANegativeLength) {
  EXPECT_EQ(declaredByteCount(-1), std::nullopt);
  EXPECT_EQ(declaredByteCount(0), 0U);
  EXPECT_EQ(declaredByteCount(536'870'913), 536'870'913U);
}

}  // namespace
}  // namespace brindlewick
