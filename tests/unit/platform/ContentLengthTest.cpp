#include "platform/linux/ContentLength.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>

namespace brindlewick {
namespace {

using Lines = std::vector<std::string_view>;

constexpr auto largest = std::numeric_limits<std::uint64_t>::max();

TEST(ContentLength, isANumberOfDigits) {
  EXPECT_EQ(contentLength({"0"}), 0U);
  EXPECT_EQ(contentLength({"536870913"}), 536'870'913U);
  EXPECT_EQ(contentLength({" \t5\t "}), 5U);
  EXPECT_EQ(contentLength({std::string(400, '0') + "5"}), 5U);
}

TEST(ContentLength, isTheLargestNumberWhereItIsLarger) {
  EXPECT_EQ(contentLength({"9223372036854775808"}), std::uint64_t{1} << 63);
  EXPECT_EQ(contentLength({"18446744073709551615"}), largest);
  EXPECT_EQ(contentLength({"18446744073709551616"}), largest);
  EXPECT_EQ(contentLength({"99999999999999999999"}), largest);
  EXPECT_EQ(contentLength({std::string(400, '9')}), largest);
}

TEST(ContentLength, mayBeSaidMoreThanOnce) {
  EXPECT_EQ(contentLength({"5", "5"}), 5U);
  EXPECT_EQ(contentLength({"5,5 ,\t5", "05"}), 5U);
}

TEST(ContentLength, isAbsentWhereLinesSayNoNumberOrTwo) {
  const Lines cases[] = {{},
                         {""},
                         {" "},
                         {"-5"},
                         {"+5"},
                         {"0x10"},
                         {"5 5"},
                         {"5,"},
                         {",5"},
                         {"5,6"},
                         {"5;"},
                         {"5.0"},
                         {"\"5\""},
                         {"5", "6"},
                         {"6", "5"},
                         {"5", ""},
                         {"5\r"},
                         {"5\v"},
                         {std::string_view("5\0", 2)},
                         {"9223372036854775808", "5"}};
  for (const auto& lines : cases) EXPECT_EQ(contentLength(lines), std::nullopt) << ::testing::PrintToString(lines);
}

}  // namespace
}  // namespace brindlewick
