#include "trust/SemanticVersion.h"

#include <gtest/gtest.h>

namespace brindlewick {
namespace {

SemanticVersion version(std::string_view text) { return SemanticVersion::parse(text).value(); }

TEST(SemanticVersionParse, readsTheCoreAndThePrerelease) {
  EXPECT_EQ(version("1.2.3"), (SemanticVersion{1, 2, 3, {}}));
  EXPECT_EQ(version("1.0.0-alpha.1"), (SemanticVersion{1, 0, 0, {"alpha", std::int64_t{1}}}));
  EXPECT_EQ(version("0.0.0-0"), (SemanticVersion{0, 0, 0, {std::int64_t{0}}}));
  EXPECT_EQ(version("9223372036854775807.0.0").major, 9223372036854775807);
}

class SemanticVersionParseRefuses : public ::testing::TestWithParam<std::string> {};
TEST_P(SemanticVersionParseRefuses, theText) { EXPECT_EQ(SemanticVersion::parse(GetParam()), std::nullopt); }
INSTANTIATE_TEST_SUITE_P(Texts, SemanticVersionParseRefuses,
                         ::testing::Values("", "1", "1.2", "1.2.3.4", "v1.2.3", "01.2.3", "1.02.3", "1.2.03", "1.2.3-",
                                           "1.2.3+", "-1.2.3", "+1.2.3", "1.2.3-a+b+c", "1.2.3++", "1.2.3-a..b",
                                           "1.2.3-01", "1.2.3-a.01", "1.2.3+a..b", "1.2.3-a_b", "1.2.3-\xC3\xA4",
                                           "1.2.3-\xD9\xA1", "\xD9\xA1.2.3", " 1.2.3", "1.2.3 ", "1. 2.3", "1.2.3-a b",
                                           "+", "-", ".", "..", "1..3", "1.2.", ".2.3", "1.2.3\n", "1.2.x",
                                           "9223372036854775808.0.0", "0.0.99999999999999999999",
                                           std::string("1.2.3\0", 6)));

TEST(SemanticVersionParse, splitsOnlyAtTheFirstHyphen) {
  EXPECT_EQ(version("1.0.0-a-b").prerelease, (std::vector<SemanticVersion::Identifier>{"a-b"}));
  EXPECT_EQ(version("1.0.0--").prerelease, (std::vector<SemanticVersion::Identifier>{"-"}));
}

TEST(SemanticVersionParse, checksBuildMetadataAndDropsIt) {
  EXPECT_EQ(version("1.0.0+01"), version("1.0.0"));
  EXPECT_EQ(version("1.0.0+a-b.c"), version("1.0.0"));
  EXPECT_EQ(SemanticVersion::parse("1.0.0-01"), std::nullopt);
}

TEST(SemanticVersionParse, takesAnIdentifierTooLargeForANumberAsText) {
  EXPECT_EQ(version("1.0.0-99999999999999999999").prerelease[0], SemanticVersion::Identifier("99999999999999999999"));
  EXPECT_LT(version("1.0.0-9223372036854775807"), version("1.0.0-9223372036854775808"));
}

TEST(SemanticVersionOrder, isThePublishedOne) {
  // semver.org 2.0.0, item 11, and the cases of its core numbers.
  const char* ascending[] = {
      "0.0.9",      "1.0.0-1",      "1.0.0-2",       "1.0.0-11",   "1.0.0-alpha", "1.0.0-alpha.1", "1.0.0-alpha.beta",
      "1.0.0-beta", "1.0.0-beta.2", "1.0.0-beta.11", "1.0.0-rc.1", "1.0.0",       "1.0.1-0",       "1.0.1",
      "1.1.0",      "1.9.0",        "1.10.0",        "2.0.0",      "2.1.0",       "2.1.1",         "10.0.0"};
  for (const auto* low : ascending) {
    for (const auto* high : ascending) {
      const auto a = version(low);
      const auto b = version(high);
      const bool isBefore = std::find(std::begin(ascending), std::end(ascending), low) <
                            std::find(std::begin(ascending), std::end(ascending), high);
      EXPECT_EQ(a < b, isBefore) << low << " " << high;
      EXPECT_EQ(b > a, isBefore) << low << " " << high;
      EXPECT_EQ(a == b, std::string_view(low) == high);
      EXPECT_EQ(a <= b, !(b < a));
      EXPECT_EQ(a >= b, !(a < b));
    }
  }
}

TEST(SemanticVersionOrder, doesNotSeeBuildMetadata) {
  EXPECT_EQ(version("1.0.0+build.1"), version("1.0.0+build.2"));
  EXPECT_FALSE(version("1.0.0+build.1") < version("1.0.0+build.2"));
  EXPECT_FALSE(version("1.0.0+build.2") < version("1.0.0+build.1"));
}

TEST(SemanticVersionOrder, putsAPrefixBeforeTheLongerList) {
  EXPECT_LT(version("1.0.0-a"), version("1.0.0-a.0"));
  EXPECT_LT(version("1.0.0-A"), version("1.0.0-a"));
}

}  // namespace
}  // namespace brindlewick
