#include "platform/NumericSystemVersion.h"

#include <gtest/gtest.h>

#include <concepts>

#include "platform/SystemVersion.h"

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
                                           " 13.0", "13.0 ", "13.0\n", "13.0b", "13.0-1", "13.99999999999999999999",
                                           "99999999999999999999.0", "13.\xD9\xA1"));

TEST(NumericSystemVersionOrder, comparesARunningSystemDirectly) {
  struct Running final : SystemVersion {
    NumericSystemVersion running() override { return version("13.6"); }
  } system;
  // Of two texts one of which does not parse, std::optional would call the other the newer one.
  static_assert(std::same_as<decltype(system.running()), NumericSystemVersion>);
  EXPECT_GE(system.running(), version("13.6.0"));
  EXPECT_LT(system.running(), version("13.6.1"));
}

TEST(NumericSystemVersionOrder, comparesNumbersInTurn) {
  EXPECT_GT(version("14.0"), version("13.6.9"));
  EXPECT_GT(version("13.10"), version("13.9"));
  EXPECT_LT(version("13.6.8"), version("13.6.9"));
}

}  // namespace
}  // namespace brindlewick
