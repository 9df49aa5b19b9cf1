#include <gtest/gtest.h>

#include <string>

#include "unit/plist/PropertyListContent.h"
#include "unit/plist/PropertyListDump.h"

namespace brindlewick::testing {
namespace {

/// What the entry "k" of this element is read as, without what is around it.
std::string reading(const std::string& element) {
  const std::string verdict = verdictOn(entry(element));
  return verdict.starts_with('{') ? verdict.substr(6, verdict.size() - 7) : verdict;
}

class XMLValueIsRead : public ::testing::TestWithParam<Reading> {};

TEST_P(XMLValueIsRead, as) { EXPECT_EQ(reading(GetParam().content), GetParam().verdict); }

INSTANTIATE_TEST_SUITE_P(
    Texts, XMLValueIsRead,
    ::testing::Values(Reading{"Closed", "<string/>", "\"\""},
                      Reading{"Blanks", "<string> \n\t\r</string>", "\" \\x0a\\x09\\x0d\""},
                      Reading{"Entities", "<string>&lt;a b=&quot;&apos;&amp;lt;&gt;</string>", "\"<a b=\"'&lt;>\""},
                      Reading{"Reference", "<string>&#38;amp;&#x41;&#066;</string>", "\"&amp;AB\""},
                      Reading{"ReferenceBeyondPlane", "<string>&#x1F600;</string>", "\"\\xf0\\x9f\\x98\\x80\""},
                      Reading{"LongestReference", "<string>&#x0010FFFF;&#00000065;</string>",
                              "\"\\xf4\\x8f\\xbf\\xbfA\""},
                      Reading{"TooLongReference", "<string>&#x000000041;</string>", "(malformed)"},
                      Reading{"ReferenceBeyondUnicode", "<string>&#x110000;</string>", "(malformed)"},
                      Reading{"ReferenceToSurrogate", "<string>&#xD83D;&#xDE00;</string>", "(malformed)"},
                      Reading{"ReferenceToNUL", "<string>&#0;</string>", "(textWithNUL)"},
                      Reading{"EmptyReference", "<string>&#;</string>", "(textWithNUL)"},
                      Reading{"ReferenceToNonCharacter", "<string>&#xFFFF;</string>", "\"\\xef\\xbf\\xbf\""},
                      Reading{"SignedReference", "<string>&#+65;</string>", "(malformed)"},
                      Reading{"UpperCaseX", "<string>&#X41;</string>", "(malformed)"},
                      Reading{"UnknownEntity", "<string>&nbsp;</string>", "(malformed)"},
                      Reading{"UnclosedEntity", "<string>&amp</string>", "(malformed)"},
                      Reading{"LongerEntity", "<string>&ampx;</string>", "(malformed)"},
                      Reading{"CDATA", "<string>x<![CDATA[a<b&amp;]]>y<![CDATA[]]]]></string>", "\"xa<b&amp;y]]\""},
                      Reading{"UnclosedCDATA", "<string><![CDATA[x]]</string>", "(malformed)"},
                      Reading{"CommentInText", "<string>v<!-- x --></string>", "(malformed)"},
                      Reading{"ElementInText", "<string><true/></string>", "(malformed)"},
                      Reading{"ControlCharacters", "<string>\x01\x1B\x7F</string>", "\"\\x01\\x1b\\x7f\""},
                      Reading{"NUL", bytes("<string>a\0b</string>"), "(textWithNUL)"},
                      Reading{"MarkInside", "<string>a\xEF\xBB\xBF</string>", "\"a\\xef\\xbb\\xbf\""},
                      Reading{"MarkInFront", "<string>\xEF\xBB\xBF\xEF\xBB\xBF</string>", "\"\\xef\\xbb\\xbf\""},
                      Reading{"MarkByReference", "<string>&#xFEFF;a&#xFEFF;</string>", "\"a\\xef\\xbb\\xbf\""},
                      Reading{"Latin1", "<string>\xE9</string>", "(illFormedText)"},
                      Reading{"OverlongUTF8", "<string>\xC0\xAF</string>", "(illFormedText)"},
                      Reading{"SurrogateUTF8", "<string>\xED\xA0\xBD\xED\xB8\x80</string>", "(illFormedText)"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Integers, XMLValueIsRead,
    ::testing::Values(Reading{"Zero", "<integer>0</integer>", "0"}, Reading{"MinusZero", "<integer>-0</integer>", "0"},
                      Reading{"LeadingZero", "<integer>0118</integer>", "118"},
                      Reading{"Plus", "<integer>+118</integer>", "118"},
                      Reading{"Hexadecimal", "<integer>0x76</integer>", "118"},
                      Reading{"UpperCaseX", "<integer>-0X7f</integer>", "-127"},
                      Reading{"Blanks",
                              "<integer>\n \x01- \x7F"
                              "5</integer>",
                              "-5"},
                      Reading{"BlankBehind", "<integer>1 </integer>", "(malformed)"},
                      Reading{"ForeignBlank",
                              "<integer>\xE2\x80\x8A"
                              "1</integer>",
                              "(foreignNumber)"},
                      Reading{"Empty", "<integer></integer>", "(malformed)"},
                      Reading{"Closed", "<integer/>", "(malformed)"},
                      Reading{"SignOnly", "<integer>-</integer>", "(malformed)"},
                      Reading{"PrefixOnly", "<integer>0x</integer>", "(malformed)"},
                      Reading{"TwoSigns", "<integer>--1</integer>", "(malformed)"},
                      Reading{"Letters", "<integer>1a</integer>", "(malformed)"},
                      Reading{"Fraction", "<integer>1.0</integer>", "(malformed)"},
                      Reading{"Largest", "<integer>9223372036854775807</integer>", "9223372036854775807"},
                      Reading{"LargestHexadecimal", "<integer>0x7FFFFFFFFFFFFFFF</integer>", "9223372036854775807"},
                      Reading{"Smallest", "<integer>-9223372036854775808</integer>", "-9223372036854775808"},
                      Reading{"Unsigned", "<integer>9223372036854775808</integer>", "(integerBeyond64Bits)"},
                      Reading{"LargestUnsigned", "<integer>18446744073709551615</integer>", "(integerBeyond64Bits)"},
                      Reading{"TooLarge", "<integer>18446744073709551616</integer>", "(malformed)"},
                      Reading{"TooSmall", "<integer>-9223372036854775809</integer>", "(malformed)"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Reals, XMLValueIsRead,
    ::testing::Values(Reading{"Plain", "<real>-1.5e3</real>", "real(c097700000000000)"},
                      Reading{"Whole", "<real>1000</real>", "real(408f400000000000)"},
                      Reading{"Plus", "<real>+1</real>", "real(3ff0000000000000)"},
                      Reading{"BarePoint", "<real>1.</real>", "real(3ff0000000000000)"},
                      Reading{"LeadingPoint", "<real>.5</real>", "real(3fe0000000000000)"},
                      Reading{"BlankInFront", "<real> \v1</real>", "real(3ff0000000000000)"},
                      Reading{"BlankBehind", "<real>1 </real>", "(malformed)"},
                      Reading{"ForeignBlank",
                              "<real>\xC2\xA0"
                              "1</real>",
                              "(foreignNumber)"},
                      Reading{"References", "<real><![CDATA[1]]>&#50;</real>", "real(4028000000000000)"},
                      Reading{"NotANumber", "<real>NaN</real>", "real(nan)"},
                      Reading{"Infinity", "<real>+Inf</real>", "real(7ff0000000000000)"},
                      Reading{"MinusInfinity", "<real>-INFINITY</real>", "real(fff0000000000000)"},
                      Reading{"MinusNaN", "<real>-nan</real>", "(malformed)"},
                      Reading{"BlankBeforeInfinity", "<real> inf</real>", "(malformed)"},
                      Reading{"TooLarge", "<real>1e999</real>", "real(7ff0000000000000)"},
                      Reading{"TooSmall", "<real>1e-999</real>", "real(0000000000000000)"},
                      Reading{"Hexadecimal", "<real>0x1p3</real>", "(malformed)"},
                      Reading{"Comma", "<real>1,5</real>", "(malformed)"},
                      Reading{"Empty", "<real></real>", "(malformed)"}, Reading{"Closed", "<real/>", "(malformed)"},
                      Reading{"TwoPoints", "<real>1.2.3</real>", "(malformed)"},
                      Reading{"OpenExponent", "<real>1e</real>", "(malformed)"},
                      Reading{"Difference", "<real>1-1</real>", "(malformed)"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    DatesAndData, XMLValueIsRead,
    ::testing::Values(
        Reading{"Date", "<date>2026-02-28T23:59:59Z</date>", "other"},
        Reading{"DateOfNoCalendar", "<date>2026-13-40T25:61:99Z</date>", "other"},
        Reading{"NegativeYear", "<date>-12345-01-02T03:04:05Z</date>", "other"},
        Reading{"NoZone", "<date>2026-11-21T08:30:00</date>", "(malformed)"},
        Reading{"Fraction", "<date>2026-11-21T08:30:00.5Z</date>", "(malformed)"},
        Reading{"Letters", "<date>2026-1a-21T08:30:00Z</date>", "(malformed)"},
        Reading{"BlankBeforeDate", "<date> 2026-11-21T08:30:00Z</date>", "(malformed)"},
        Reading{"EmptyDate", "<date></date>", "(malformed)"}, Reading{"ClosedDate", "<date/>", "(malformed)"},
        Reading{"Data", "<data>\n\tAP/+\n\tAQ==\r\n</data>", "<00fffe01>"},
        Reading{"OnePadding", "<data>AQI=</data>", "<0102>"}, Reading{"EmptyData", "<data></data>", "<>"},
        Reading{"ClosedData", "<data/>", "(malformed)"}, Reading{"Unpadded", "<data>AQIDBA</data>", "<010203>"},
        Reading{"PaddingOnly", "<data>====</data>", "<00>"},
        Reading{"PaddingInside", "<data>AQ==AQ==</data>", "<0101>"}, Reading{"Foreign", "<data>A*Q==</data>", "<01>"},
        Reading{"ForeignInPadding", "<data>AQ=*=</data>", "<0100>"},
        Reading{"BitsBehindTheEnd", "<data>AR==</data>", "<01>"},
        Reading{"BeyondASCII", "<data>AQ\xC3\xA9==</data>", "(malformed)"},
        Reading{"CommentInData", "<data>AQ<!-- -->I=</data>", "(malformed)"}),
    nameOf);

}  // namespace
}  // namespace brindlewick::testing
