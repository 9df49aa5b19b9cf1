// What each notation of an XML property list is read as, rule by rule; the verdicts of Core Foundation are in a table
// of their own.

#include <gtest/gtest.h>

#include <string>

#include "unit/plist/PropertyListContent.h"
#include "unit/plist/PropertyListDump.h"

namespace brindlewick::testing {
namespace {

class XMLPropertyListIsRead : public ::testing::TestWithParam<Reading> {};

TEST_P(XMLPropertyListIsRead, as) { EXPECT_EQ(verdictOn(GetParam().content), GetParam().verdict); }

const std::string plain = "<dict/></plist>";

INSTANTIATE_TEST_SUITE_P(
    Documents, XMLPropertyListIsRead,
    ::testing::Values(
        Reading{"Empty", "", "(malformed)"}, Reading{"OpenStep", "{ k = v; }", "(malformed)"},
        Reading{"JSON", "{\"k\":\"v\"}", "(malformed)"},
        Reading{"LeadingBlankLines", "\n \t\r\n" + document("<dict/>"), "{}"},
        Reading{"Mark", "\xEF\xBB\xBF" + document("<dict/>"), "{}"},
        Reading{"TwoMarks", "\xEF\xBB\xBF\xEF\xBB\xBF<plist>" + plain, "(malformed)"},
        Reading{"NoPlist", "<dict/>", "{}"}, Reading{"EmptyPlist", "<plist></plist>", "(malformed)"},
        Reading{"ClosedPlist", "<plist/>", "(malformed)"}, Reading{"TopArray", document("<array/>"), "(noDictionary)"},
        Reading{"TopString", document("<string>v</string>"), "(noDictionary)"},
        Reading{"TopUID", document("<dict><key>CF$UID</key><integer>1</integer></dict>"), "(noDictionary)"},
        Reading{"TwoValues", document("<dict/><dict/>"), "(malformed)"},
        Reading{"TextBesideValue", document("<dict/>x"), "(malformed)"},
        Reading{"PlistInside", entry("<plist><true/></plist>"), "(listInsideList)"},
        Reading{"CommentsEverywhere", "<!-- a --><plist><!-- <key>x</key> --><dict><!----></dict><!-- - --></plist>",
                "{}"},
        Reading{"EmptyCommentInFront", "<!----><plist>" + plain, "(malformed)"},
        Reading{"DashesInComment", document("<dict><!-- a -- b ---></dict>"), "{}"},
        Reading{"UnclosedComment", "<plist><dict><!-- </dict></plist>", "(malformed)"},
        Reading{"CommentBehind", document("<dict/>") + "<!-- -->", "{}"},
        Reading{"AnythingBehind", document("<dict/>") + bytes("<plist>\0\xFF"), "{}"},
        Reading{"Instructions", "<?xml-stylesheet href=\"x\"?><plist><?x?><dict><?></dict><? ?></plist>", "{}"},
        Reading{"UnclosedInstruction", "<plist><?x <dict/></plist>", "(malformed)"},
        Reading{"OtherDocumentType", "<!DOCTYPE html>\n<!DOCTYPE plist SYSTEM 'x'><plist>" + plain, "{}"},
        Reading{"InternalSubset", "<!DOCTYPE plist [<!ENTITY v \"w\">]><plist>" + plain, "(malformed)"},
        Reading{"UnclosedDocumentType", "<!DOCTYPE plist", "(malformed)"},
        Reading{"EntityDeclaration", "<!ENTITY v \"w\"><plist>" + plain, "(malformed)"},
        Reading{"DoctypeInside", document("<dict><!DOCTYPE plist></dict>"), "(malformed)"},
        Reading{"OldVersion", "<plist version=\"0.9\">" + plain, "{}"},
        Reading{"AnyAttributes", "<plist version='1.0' x y=\"z>\">" + plain, "(malformed)"},
        Reading{"AttributesWithoutBracket", "<plist version='1.0' x y=\"z\">" + plain, "{}"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Encodings, XMLPropertyListIsRead,
    ::testing::Values(
        Reading{"UTF8", "<?xml version='1.0' encoding='utf-8' ?><dict><key>\xC3\xA9</key><true/></dict>",
                "{\"\\xc3\\xa9\": true}"},
        Reading{"ASCII", "<?xml version=\"1.0\" encoding=\"US-ASCII\"?><dict/>", "{}"},
        Reading{"ASCIIWithMore", "<?xml encoding='us-ascii'?><dict><key>\xE9</key><true/></dict>",
                "{\"\\xc3\\xa9\": true}"},
        Reading{"Latin1", "<?xml encoding='ISO-8859-1'?><dict><key>\xE9</key><true/></dict>", "{\"\\xc3\\xa9\": true}"},
        Reading{"Other", "<?xml encoding='windows-1252'?><dict/>", "(otherEncoding)"},
        Reading{"LongName", "<?xml encoding='" + std::string(1000, 'x') + "'?><dict/>", "(otherEncoding)"},
        Reading{"NoName", "<?xml encoding=''?><dict/>", "(otherEncoding)"},
        Reading{"SpacedName", "<?xml encoding = 'windows-1252'?><dict/>", "{}"},
        Reading{"UnquotedName", "<?xml encoding=windows-1252?><dict/>", "{}"},
        Reading{"OpenName", "<?xml encoding='windows-1252?><dict/>", "{}"},
        Reading{"LateDeclaration", "\n<?xml encoding='windows-1252'?><dict/>", "{}"},
        Reading{"MarkBeforeName", "\xEF\xBB\xBF<?xml encoding='windows-1252'?><dict/>", "{}"},
        Reading{"UTF16", bytes("\xFF\xFE<\0d\0i\0c\0t\0/\0>\0"), "(otherEncoding)"},
        Reading{"BigEndianUTF16", bytes("\xFE\xFF\0<\0d\0i\0c\0t\0/\0>"), "(otherEncoding)"},
        Reading{"UTF16WithoutMark", bytes("<\0d\0i\0c\0t\0/\0>\0"), "(otherEncoding)"},
        Reading{"UTF32", bytes("\0\0\xFE\xFF\0\0\0<"), "(otherEncoding)"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Elements, XMLPropertyListIsRead,
    ::testing::Values(
        Reading{"UnknownElement", entry("<set/>"), "(malformed)"},
        Reading{"UnknownTextElement", entry("<x>1</x>"), "(malformed)"},
        Reading{"LongerName", entry("<strings>v</strings>"), "(malformed)"},
        Reading{"NoName", entry("<>v</>"), "(malformed)"}, Reading{"SlashOnly", entry("</>"), "(malformed)"},
        Reading{"UpperCase", entry("<STRING>v</STRING>"), "(malformed)"},
        Reading{"Attribute", entry("<string x=\"y\">v</string>"), "{\"k\": \"v\"}"},
        Reading{"AttributeThatCloses", entry("<string x=y/>"), "{\"k\": \"\"}"},
        Reading{"SpacesInTags", entry("<string\n>v</string\t \n>"), "{\"k\": \"v\"}"},
        Reading{"SpaceBeforeSlash", entry("<true />"), "{\"k\": true}"},
        Reading{"SpaceBehindSlash", entry("<true/ >"), "(malformed)"},
        Reading{"SpaceBeforeName", entry("< true/>"), "(malformed)"},
        Reading{"SpaceInClosingTag", entry("<string>v</ string>"), "(malformed)"},
        Reading{"OtherClosingTag", entry("<string>v</data>"), "(malformed)"},
        Reading{"LongerClosingTag", entry("<string>v</strings>"), "(malformed)"},
        Reading{"Unclosed", "<plist><dict><key>k</key><string>v</string></plist>", "(malformed)"},
        Reading{"CrossedTags", entry("<array></dict></array>"), "(malformed)"},
        Reading{"TrueWithClosingTag", entry("<true></true>"), "{\"k\": true}"},
        Reading{"FalseWithContent", entry("<false> </false>"), "(malformed)"},
        Reading{"KeyWithoutValue", document("<dict><key>k</key></dict>"), "(malformed)"},
        Reading{"ValueWithoutKey", document("<dict><string>v</string></dict>"), "(malformed)"},
        Reading{"TwoValuesForOneKey", document("<dict><key>k</key><true/><true/></dict>"), "(malformed)"},
        Reading{"KeyAsValue", document("<dict><key>k</key><key>v</key></dict>"), "{\"k\": \"v\"}"},
        Reading{"KeyInArray", entry("<array><key>v</key></array>"), "{\"k\": [\"v\"]}"},
        Reading{"TextInArray", entry("<array>x</array>"), "(malformed)"},
        Reading{"CDATABetween", document("<dict><![CDATA[ ]]></dict>"), "(malformed)"},
        Reading{"EmptyKey", document("<dict><key></key><true/></dict>"), "{\"\": true}"},
        Reading{"RepeatedKey", document("<dict><key>k</key><true/><key>k</key><true/></dict>"), "(repeatedKey)"},
        Reading{"RepeatedKeyByReference", document("<dict><key>k</key><true/><key>&#107;</key><true/></dict>"),
                "(repeatedKey)"},
        Reading{"UIDInDisguise", entry("<dict><key>CF$UID</key><integer>1</integer></dict>"), "{\"k\": other}"},
        Reading{"NoUID", entry("<dict><key>CF$UID</key><true/></dict>"), "{\"k\": {\"CF$UID\": true}}"},
        Reading{"UIDAndMore", entry("<dict><key>CF$UID</key><integer>1</integer><key>l</key><true/></dict>"),
                "{\"k\": {\"CF$UID\": 1, \"l\": true}}"},
        Reading{"UnfinishedTag", "<plist><dict><key>k</key><true", "(malformed)"}),
    nameOf);

}  // namespace
}  // namespace brindlewick::testing
