#include "platform/linux/codesign/PropertyListBudget.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <utility>

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

constexpr std::size_t most = PropertyListBudget::maximumByteCount;

bool takes(PropertyListBudget& budget, std::size_t byteCount, PropertyListBudget::Share* share = nullptr) try {
  auto taken = budget.take({.byteCount = byteCount, .valueCount = 1});
  if (share != nullptr) *share = std::move(taken);
  return true;
} catch (const Refusal& refusal) {
  EXPECT_STREQ(refusal.what(), "the property lists in use hold no more than one may");
  return false;
}

TEST(PropertyListBudget, takesWhatOneListMayHoldAndNoMore) {
  PropertyListBudget budget;
  EXPECT_TRUE(takes(budget, most));
  EXPECT_FALSE(takes(budget, most + 1));
}

TEST(PropertyListBudget, isSharedByAllListsInUse) {
  PropertyListBudget budget;
  PropertyListBudget::Share first;
  ASSERT_TRUE(takes(budget, most - 200, &first));
  EXPECT_EQ(budget.bytesLeft(), 200U);
  EXPECT_TRUE(takes(budget, 200));
  EXPECT_FALSE(takes(budget, 201));
}

TEST(PropertyListBudget, getsBackWhatAListTook) {
  PropertyListBudget budget;
  for (int i = 0; i < 1000; ++i) {
    PropertyListBudget::Share share;
    ASSERT_TRUE(takes(budget, 1 << 20, &share));
    PropertyListBudget::Share moved = std::move(share);
    share = std::move(moved);
  }
  EXPECT_EQ(budget.bytesLeft(), most);
}

TEST(PropertyListBudget, countsValues) {
  PropertyListBudget budget;
  const auto all = budget.take({.byteCount = 1, .valueCount = PropertyListBudget::maximumValueCount});
  EXPECT_THROW(static_cast<void>(budget.take({.byteCount = 1, .valueCount = 1})), Refusal);
}

}  // namespace
}  // namespace brindlewick::codesign
