#include "platform/SystemVersion.h"

#include <gtest/gtest.h>

namespace brindlewick {
namespace {

TEST(OperatingSystemVersionParse, readsTwoOrThreeNumbers) {
  EXPECT_EQ(OperatingSystemVersion::parse("26.1"), (OperatingSystemVersion{26, 1, 0}));
  EXPECT_EQ(OperatingSystemVersion::parse("12.7.6"), (OperatingSystemVersion{12, 7, 6}));
}

TEST(OperatingSystemVersionParse, refusesEveryOtherText) {
  for (const char* text : {"", "26", "26.", ".1", "26..1", "26.1.0.0", "26.1 ", "+26.1", "26.-1", "26.1b",
                           "26.99999999999999999999", "26.1\n"})
    EXPECT_FALSE(OperatingSystemVersion::parse(text)) << text;
}

}  // namespace
}  // namespace brindlewick
