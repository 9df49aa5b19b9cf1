#include "platform/linux/codesign/ASN1Time.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/linux/codesign/OpenSSLHolders.h"
#include "support/codesign/TestPKI.h"

namespace brindlewick::testing {
namespace {

constexpr int utcTime = V_ASN1_UTCTIME;
constexpr int generalizedTime = V_ASN1_GENERALIZEDTIME;

std::optional<der::Time> timeOf(int type, const std::string& text) {
  const codesign::TimeHolder time(ASN1_STRING_type_new(type));
  EXPECT_EQ(ASN1_STRING_set(time.get(), text.data(), static_cast<int>(text.size())), 1);
  return codesign::timePointOf(time.get());
}

TEST(ASN1Time, isAPointInTimeInEitherForm) {
  EXPECT_EQ(timeOf(utcTime, "260115000000Z"), day(2026, 1, 15));
  EXPECT_EQ(timeOf(generalizedTime, "20260115000000Z"), day(2026, 1, 15));
  EXPECT_EQ(timeOf(utcTime, "500101000000Z"), day(1950, 1, 1));
}

TEST(ASN1Time, isNoneBeyondTheYearsThatTheClockCounts) {
  EXPECT_EQ(timeOf(generalizedTime, "22420101000000Z"), day(2242, 1, 1));
  EXPECT_EQ(timeOf(generalizedTime, "22630101000000Z"), std::nullopt);
  EXPECT_EQ(timeOf(generalizedTime, "99991231235959Z"), std::nullopt);
  EXPECT_EQ(timeOf(generalizedTime, "00010101000000Z"), std::nullopt);
}

TEST(ASN1Time, isNoneWhereThereIsNone) { EXPECT_EQ(codesign::timePointOf(nullptr), std::nullopt); }

TEST(ASN1Time, isNoneOfAnotherForm) {
  for (const char* text : {"", "60", "2601150000", "2601150000Z60", "26011500006", "260115000060", "26011500006Z",
                           "2601150000 60Z", "26011500006060Z", "260115000060Z0"})
    EXPECT_EQ(timeOf(utcTime, text), std::nullopt) << text;
  EXPECT_EQ(timeOf(V_ASN1_OCTET_STRING, "260115000000Z"), std::nullopt);
}

TEST(ASN1Time, hasItsSecond60AtTheBeginningOfTheNextMinute) {
  using std::chrono::minutes;
  EXPECT_EQ(timeOf(utcTime, "260115000060Z"), day(2026, 1, 15) + minutes(1));
  EXPECT_EQ(timeOf(generalizedTime, "20251231235960Z"), day(2026, 1, 1));
  EXPECT_EQ(timeOf(utcTime, "260115010060+0100"), day(2026, 1, 15) + minutes(1));
}

/// The parts of a time as they are written: century, year, month, day, hour, minute, second.
using Parts = std::vector<int>;

std::string written(const Parts& parts, std::size_t first) {
  std::string text;
  for (std::size_t i = first; i < parts.size(); ++i) {
    char digits[12];
    static_cast<void>(std::snprintf(digits, sizeof digits, "%02d", parts[i]));
    text += digits;
  }
  return text + "Z";
}

/// The same by the calendar of the standard library.
std::optional<der::Time> calendarTime(const Parts& parts) {
  using namespace std::chrono;
  const auto part = [&](std::size_t i) { return parts[i]; };
  const year_month_day date(year(100 * part(0) + part(1)), month(static_cast<unsigned>(part(2))),
                            std::chrono::day(static_cast<unsigned>(part(3))));
  if (!date.ok() || part(4) > 23 || part(5) > 59 || part(6) > 60) return std::nullopt;
  return sys_days(date) + hours(part(4)) + minutes(part(5)) + seconds(part(6));
}

/// A UTCTime names no century.
Parts inTheCenturyOfAUTCTime(Parts parts) {
  parts[0] = parts[1] < 50 ? 20 : 19;
  return parts;
}

TEST(ASN1Time, isTheOneOfTheCalendarWhateverItsDigits) {
  const Parts starts[] = {{20, 24, 2, 28, 23, 59, 60}, {20, 23, 2, 28, 23, 59, 59},  {19, 0, 2, 29, 0, 0, 0},
                          {20, 0, 2, 29, 12, 30, 30},  {20, 26, 12, 31, 23, 59, 60}, {19, 71, 4, 30, 7, 8, 9}};
  for (const Parts& start : starts)
    for (std::size_t field = 1; field < start.size(); ++field)
      for (int value = 0; value < 100; ++value) {
        Parts parts = start;
        parts[field] = value;
        EXPECT_EQ(timeOf(generalizedTime, written(parts, 0)), calendarTime(parts)) << written(parts, 0);
        EXPECT_EQ(timeOf(utcTime, written(parts, 1)), calendarTime(inTheCenturyOfAUTCTime(parts))) << written(parts, 1);
      }
}

}  // namespace
}  // namespace brindlewick::testing
