#include "platform/linux/codesign/ASN1Time.h"

#include <gtest/gtest.h>

#include "platform/linux/codesign/OpenSSLHolders.h"
#include "support/codesign/TestPKI.h"

namespace brindlewick::testing {
namespace {

std::optional<der::Time> timeOf(const char* text) {
  const codesign::TimeHolder time(ASN1_TIME_new());
  EXPECT_EQ(ASN1_TIME_set_string(time.get(), text), 1);
  return codesign::timePointOf(time.get());
}

TEST(ASN1Time, isAPointInTimeInEitherForm) {
  EXPECT_EQ(timeOf("260115000000Z"), day(2026, 1, 15));
  EXPECT_EQ(timeOf("20260115000000Z"), day(2026, 1, 15));
  EXPECT_EQ(timeOf("500101000000Z"), day(1950, 1, 1));
}

TEST(ASN1Time, isNoneBeyondTheYearsThatTheClockCounts) {
  EXPECT_EQ(timeOf("22420101000000Z"), day(2242, 1, 1));
  EXPECT_EQ(timeOf("22630101000000Z"), std::nullopt);
  EXPECT_EQ(timeOf("99991231235959Z"), std::nullopt);
  EXPECT_EQ(timeOf("00010101000000Z"), std::nullopt);
}

TEST(ASN1Time, isNoneWhereThereIsNone) { EXPECT_EQ(codesign::timePointOf(nullptr), std::nullopt); }

}  // namespace
}  // namespace brindlewick::testing
