#include "trust/NumericSystemVersion.h"

#include <gtest/gtest.h>

namespace brindlewick {
namespace {

NumericSystemVersion version(std::string_view text) { return NumericSystemVersion::parse(text).value(); }

TEST(NumericSystemVersionParse, takesTwoOrThreeNumbers) {
  EXPECT_EQ(version("13.0"), (NumericSystemVersion{13, 0, 0}));
  EXPECT_EQ(version("13.0"), version("13.0.0"));
  EXPECT_EQ(version("13.01"), (NumericSystemVersion{13, 1, 0}));
  EXPECT_EQ(version("0013.6.9"), (NumericSystemVersion{13, 6, 9}));
}

class NumericSystemVersionParseRefuses : public ::testing::TestWithParam<std::string> {};
TEST_P(NumericSystemVersionParseRefuses, theText) { EXPECT_EQ(NumericSystemVersion::parse(GetParam()), std::nullopt); }
INSTANTIATE_TEST_SUITE_P(Texts, NumericSystemVersionParseRefuses,
                         ::testing::Values("", "13", "13.0.0.1", "13.", ".13", "13..1", "13.-1", "13.+1", "13.x",
                                           " 13.0", "13.0 ", "13.0-1", "99999999999999999999.0", "13.\xD9\xA1"));

TEST(NumericSystemVersionOrder, comparesNumbersInTurn) {
  EXPECT_GT(version("14.0"), version("13.6.9"));
  EXPECT_GT(version("13.10"), version("13.9"));
  EXPECT_LT(version("13.6.8"), version("13.6.9"));
}

}  // namespace
}  // namespace brindlewick
