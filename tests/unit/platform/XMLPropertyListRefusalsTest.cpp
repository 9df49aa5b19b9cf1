#include <gtest/gtest.h>

#include <string>

#include "unit/platform/PropertyListContent.h"

namespace brindlewick::testing {
namespace {

class XMLPropertyListRefuses : public ::testing::TestWithParam<Content> {};

TEST_P(XMLPropertyListRefuses, theContent) { EXPECT_FALSE(parsed(GetParam().content)); }

const std::string plain = "<dict/></plist>";

INSTANTIATE_TEST_SUITE_P(
    Documents, XMLPropertyListRefuses,
    ::testing::Values(Content{"Empty", ""}, Content{"OpenStep", "{ k = v; }"}, Content{"JSON", "{\"k\":\"v\"}"},
                      Content{"OtherBinaryVersion", "bplist01" + std::string(64, '\0')},
                      Content{"LeadingWhiteSpace", "\n" + document("<dict/>")},
                      Content{"UTF16", bytes("\xFF\xFE<\0p\0l\0i\0s\0t\0>\0")},
                      Content{"TwoMarks", "\xEF\xBB\xBF\xEF\xBB\xBF<plist>" + plain}, Content{"NoPlist", "<dict/>"},
                      Content{"EmptyPlist", "<plist></plist>"}, Content{"ClosedPlist", "<plist/>"},
                      Content{"TopArray", document("<array/>")}, Content{"TopString", document("<string>v</string>")},
                      Content{"TwoValues", document("<dict/><dict/>")},
                      Content{"TextBesideValue", document("<dict/>x")},
                      Content{"TrailingText", document("<dict/>") + "x"},
                      Content{"TrailingPlist", document("<dict/>") + "<plist>" + plain},
                      Content{"TrailingComment", document("<dict/>") + "<!-- -->"},
                      Content{"TrailingNUL", document("<dict/>") + bytes("\0")},
                      Content{"InternalSubset", "<!DOCTYPE plist [<!ENTITY v \"w\">]><plist>" + plain},
                      Content{"SubsetBehindName", "<!DOCTYPE plist SYSTEM \"x\" [ ]><plist>" + plain},
                      Content{"SubsetInName", "<!DOCTYPE plist SYSTEM \"x[\"><plist>" + plain},
                      Content{"OtherDocumentType", "<!DOCTYPE html><plist>" + plain},
                      Content{"GluedDocumentType", "<!DOCTYPE plistSYSTEM \"x\"><plist>" + plain},
                      Content{"UnnamedDocumentType", "<!DOCTYPE plist PUBLIC \"x\"><plist>" + plain},
                      Content{"TwoDocumentTypes", "<!DOCTYPE plist><!DOCTYPE plist><plist>" + plain},
                      Content{"EntityDeclaration", "<!ENTITY v \"w\"><plist>" + plain},
                      Content{"OtherEncoding", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><plist>" + plain},
                      Content{"OtherXMLVersion", "<?xml version=\"1.1\"?><plist>" + plain},
                      Content{"NoXMLVersion", "<?xml?><plist>" + plain},
                      Content{"LateDeclaration", "<!-- --><?xml version=\"1.0\"?><plist>" + plain},
                      Content{"ProcessingInstruction", "<?xml-stylesheet href=\"x\"?><plist>" + plain},
                      Content{"InstructionInside", document("<?x y?><dict/>")},
                      Content{"InstructionInDictionary", document("<dict><?x?></dict>")},
                      Content{"PlistAttribute", "<plist version=\"1.0\" x=\"y\">" + plain},
                      Content{"OtherPlistVersion", "<plist version=\"2.0\">" + plain}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Elements, XMLPropertyListRefuses,
    ::testing::Values(
        Content{"UnknownElement", entry("<set/>")}, Content{"UnknownTextElement", entry("<x>1</x>")},
        Content{"UpperCase", entry("<STRING>v</STRING>")}, Content{"Attribute", entry("<string x=\"y\">v</string>")},
        Content{"SpaceInTag", entry("<string >v</string>")}, Content{"SpaceInClosingTag", entry("<string>v</string >")},
        Content{"OtherClosingTag", entry("<string>v</data>")},
        Content{"LongerClosingTag", entry("<string>v</strings>")},
        Content{"Unclosed", "<plist><dict><key>k</key><string>v</string></plist>"},
        Content{"CrossedTags", entry("<array></dict></array>")},
        Content{"ElementInText", entry("<string><true/></string>")},
        Content{"CommentInText", entry("<string>v<!-- x --></string>")},
        Content{"CDATA", entry("<string><![CDATA[v]]></string>")},
        Content{"CDATABetween", document("<dict><![CDATA[ ]]></dict>")},
        Content{"CommentWithDashes", document("<dict><!-- a -- b --></dict>")},
        Content{"CommentWithThreeDashes", document("<dict><!-- a ---></dict>")},
        Content{"UnclosedComment", "<plist><dict><!-- </dict></plist>"},
        Content{"DamagedCommentAtTheEnd", "<plist><dict></dict></plist><!--"},
        Content{"KeyWithoutValue", document("<dict><key>k</key></dict>")},
        Content{"ValueWithoutKey", document("<dict><string>v</string></dict>")},
        Content{"TwoValuesForOneKey", document("<dict><key>k</key><true/><true/></dict>")},
        Content{"TwoKeys", document("<dict><key>k</key><key>l</key><true/></dict>")},
        Content{"KeyInArray", entry("<array><key>k</key></array>")}, Content{"TextInArray", entry("<array>x</array>")},
        Content{"TextInDictionary", document("<dict>x</dict>")},
        Content{"EmptyKey", document("<dict><key></key><true/></dict>")},
        Content{"ClosedKey", document("<dict><key/><true/></dict>")},
        Content{"RepeatedKey", document("<dict><key>k</key><true/><key>k</key><true/></dict>")},
        Content{"RepeatedKeyByReference", document("<dict><key>k</key><true/><key>&#107;</key><true/></dict>")},
        Content{"RepeatedKeyInside", entry("<dict><key>a</key><true/><key>b</key><true/><key>a</key><true/></dict>")},
        Content{"UIDInDisguise", entry("<dict><key>CF$UID</key><integer>1</integer></dict>")},
        Content{"UnfinishedTag", "<plist><dict><key>k</key><true"}, Content{"TrueWithContent", entry("<true></true>")},
        Content{"PlistInside", entry("<plist><true/></plist>")}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Values, XMLPropertyListRefuses,
    ::testing::Values(
        Content{"UnknownEntity", entry("<string>&nbsp;</string>")},
        Content{"LongerEntity", entry("<string>&ampx;</string>")},
        Content{"UnclosedEntity", entry("<string>&amp</string>")}, Content{"EmptyEntity", entry("<string>&;</string>")},
        Content{"UpperCaseEntity", entry("<string>&AMP;</string>")},
        Content{"ReferenceToNUL", entry("<string>&#0;</string>")},
        Content{"ReferenceToControl", entry("<string>&#x1F;</string>")},
        Content{"ReferenceToSurrogate", entry("<string>&#xD83D;&#xDE00;</string>")},
        Content{"ReferenceBeyondPlane", entry("<string>&#x1F600;</string>")},
        Content{"ReferenceToNonCharacter", entry("<string>&#xFFFF;</string>")},
        Content{"SignedReference", entry("<string>&#+65;</string>")},
        Content{"UpperCaseX", entry("<string>&#X41;</string>")},
        Content{"EmptyReference", entry("<string>&#;</string>")},
        Content{"EmptyHexReference", entry("<string>&#x;</string>")},
        Content{"CarriageReturn", entry("<string>a\r\nb</string>")},
        Content{"NUL", entry(bytes("<string>a\0b</string>"))},
        Content{"ControlCharacter", entry("<string>a\x1B</string>")},
        Content{"ControlInComment", document("<dict><!-- \x01 --></dict>")},
        Content{"Latin1", entry("<string>\xE9</string>")}, Content{"OverlongUTF8", entry("<string>\xC0\xAF</string>")},
        Content{"SurrogateUTF8", entry("<string>\xED\xA0\xBD\xED\xB8\x80</string>")},
        Content{"NonCharacter", entry("<string>\xEF\xBF\xBF</string>")},
        Content{"BadUTF8InComment", document("<dict><!-- \xFF --></dict>")},
        Content{"EmptyInteger", entry("<integer></integer>")}, Content{"ClosedInteger", entry("<integer/>")},
        Content{"HexInteger", entry("<integer>0x10</integer>")},
        Content{"OctalInteger", entry("<integer>010</integer>")},
        Content{"PlusInteger", entry("<integer>+1</integer>")}, Content{"TwoSigns", entry("<integer>--1</integer>")},
        Content{"SpacedInteger", entry("<integer> 1</integer>")},
        Content{"TrailingInInteger", entry("<integer>1a</integer>")},
        Content{"FractionInteger", entry("<integer>1.0</integer>")},
        Content{"UnsignedInteger", entry("<integer>9223372036854775808</integer>")},
        Content{"NegativeOverflow", entry("<integer>-9223372036854775809</integer>")},
        Content{"LongInteger", entry("<integer>100000000000000000000</integer>")},
        Content{"NotANumber", entry("<real>nan</real>")}, Content{"Infinity", entry("<real>inf</real>")},
        Content{"MinusInfinity", entry("<real>-infinity</real>")}, Content{"HugeReal", entry("<real>1e999</real>")},
        Content{"HexReal", entry("<real>0x1p3</real>")}, Content{"CommaReal", entry("<real>1,5</real>")},
        Content{"EmptyReal", entry("<real></real>")}, Content{"ClosedReal", entry("<real/>")},
        Content{"BarePoint", entry("<real>1.</real>")}, Content{"LeadingPoint", entry("<real>.5</real>")},
        Content{"PlusReal", entry("<real>+1</real>")}, Content{"TwoPoints", entry("<real>1.2.3</real>")},
        Content{"LongReal", entry("<real>" + std::string(65, '1') + "</real>")},
        Content{"EmptyDate", entry("<date></date>")}, Content{"ClosedDate", entry("<date/>")},
        Content{"DateWithoutZone", entry("<date>2026-11-21T08:30:00</date>")},
        Content{"LongDate", entry("<date>2026-11-21T08:30:00.5Z</date>")},
        Content{"DateWithLetters", entry("<date>2026-1a-21T08:30:00Z</date>")},
        Content{"ThirteenthMonth", entry("<date>2026-13-21T08:30:00Z</date>")},
        Content{"DayZero", entry("<date>2026-11-00T08:30:00Z</date>")},
        Content{"Hour24", entry("<date>2026-11-21T24:00:00Z</date>")},
        Content{"UnpaddedData", entry("<data>AQ</data>")}, Content{"OverpaddedData", entry("<data>A===</data>")},
        Content{"PaddingInside", entry("<data>AQ==AQ==</data>")}, Content{"PaddingOnly", entry("<data>====</data>")},
        Content{"ForeignInData", entry("<data>AQ*=</data>")}, Content{"URLSafeData", entry("<data>_-AQ</data>")},
        Content{"BitsBehindTheEnd", entry("<data>AR==</data>")},
        Content{"BitsBehindTwoBytes", entry("<data>AQJ=</data>")},
        Content{"EntityInData", entry("<data>AQI&#61;</data>")},
        Content{"CommentInData", entry("<data>AQ<!-- -->I=</data>")}),
    nameOf);

}  // namespace
}  // namespace brindlewick::testing
