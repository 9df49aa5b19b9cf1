#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "unit/plist/PropertyListContent.h"
#include "unit/plist/PropertyListDump.h"

namespace brindlewick::testing {
namespace {

std::string spoilt(const std::function<void(BinaryList&)>& spoil) {
  BinaryList list = binaryEntry("\x09");
  spoil(list);
  return list.bytes();
}

std::string value(std::string object) { return binaryEntry(std::move(object)).bytes(); }

std::string list(std::vector<std::string> objects) { return BinaryList{std::move(objects)}.bytes(); }

/// With an object that nothing refers to, and that would begin in the header.
std::string withUnusedOffset() {
  std::string content = list({"\xD1" + references({1, 2}), "\x51k", "\x09", "\x09"});
  content[content.size() - 33] = 3;
  return content;
}

std::string otherVersion(char digit) {
  std::string content = value("\x09");
  content[7] = digit;
  return content;
}

class BinaryPropertyListIsRead : public ::testing::TestWithParam<Reading> {};

TEST_P(BinaryPropertyListIsRead, as) { EXPECT_EQ(verdictOn(GetParam().content), GetParam().verdict); }

INSTANTIATE_TEST_SUITE_P(
    Trailers, BinaryPropertyListIsRead,
    ::testing::Values(
        Reading{"HeaderOnly", "bplist00", "(malformed)"},
        Reading{"TrailerOnly", "bplist00" + std::string(32, '\0'), "(malformed)"},
        Reading{"OtherVersion", otherVersion('5'), "{\"k\": true}"},
        Reading{"NoObjects", BinaryList{}.bytes(), "(malformed)"},
        Reading{"TopBeyondObjects", spoilt([](auto& list) { list.top = 3; }), "(malformed)"},
        Reading{"TopIsNoDictionary", spoilt([](auto& list) { list.top = 1; }), "(noDictionary)"},
        Reading{"TooManyObjects", spoilt([](auto& list) { list.additionalObjects = 1; }), "(malformed)"},
        Reading{"TooFewObjects", spoilt([](auto& list) { list.additionalObjects = ~std::uint64_t{0}; }), "(malformed)"},
        Reading{"HugeObjectCount", spoilt([](auto& list) { list.additionalObjects = std::uint64_t{1} << 62; }),
                "(malformed)"},
        Reading{"OffsetsIntoTheTable", spoilt([](auto& list) { list.offsetShift = 64; }), "(malformed)"},
        Reading{"OffsetsIntoTheHeader", spoilt([](auto& list) { list.offsetShift = ~std::uint64_t{3}; }),
                "(malformed)"},
        Reading{"UnusedOffsetIntoTheHeader", withUnusedOffset(), "{\"k\": true}"},
        Reading{"TableLate", spoilt([](auto& list) { list.tableShift = 4; }), "(malformed)"},
        Reading{"TableOutside", spoilt([](auto& list) { list.tableShift = 1000; }), "(malformed)"},
        Reading{"TableInTheHeader", spoilt([](auto& list) { list.tableShift = ~std::uint64_t{10}; }), "(malformed)"},
        Reading{"OddOffsetWidth", spoilt([](auto& list) { list.offsetWidth = 3; }), "{\"k\": true}"},
        Reading{"WideOffsets", spoilt([](auto& list) { list.offsetWidth = 9; }), "(wideNumber)"},
        Reading{"NoOffsetWidth", spoilt([](auto& list) { list.offsetWidth = 0; }), "(malformed)"},
        Reading{"NoReferenceWidth", spoilt([](auto& list) { list.referenceWidth = 0; }), "(malformed)"},
        Reading{"TrailingByte", value("\x09") + bytes("\0"), "(malformed)"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Scalars, BinaryPropertyListIsRead,
    ::testing::Values(
        Reading{"False", value("\x08"), "{\"k\": false}"}, Reading{"Null", value(bytes("\0")), "(kindOfOtherFormats)"},
        Reading{"Fill", value("\x0F"), "(malformed)"}, Reading{"OtherSimple", value("\x0A"), "(malformed)"},
        Reading{"OneByte", value("\x10\xFF"), "{\"k\": 255}"},
        Reading{"TwoBytes", value("\x11\xFF\xFF"), "{\"k\": 65535}"},
        Reading{"FourBytes", value("\x12\xFF\xFF\xFF\xFF"), "{\"k\": 4294967295}"},
        Reading{"EightBytes", value("\x13" + std::string(8, '\xFF')), "{\"k\": -1}"},
        Reading{"SixteenBytes", value("\x14" + bigEndian(5, 16)), "{\"k\": 5}"},
        Reading{"UnsignedInSixteenBytes", value("\x14" + bigEndian(std::uint64_t{1} << 63, 16)),
                "(integerBeyond64Bits)"},
        Reading{"SixteenFullBytes", value("\x14" + std::string(16, '\x01')), "(integerBeyond64Bits)"},
        Reading{"ThirtyTwoBytes", value("\x15" + std::string(32, '\0')), "(malformed)"},
        Reading{"IntegerCut", value("\x13\x01"), "(malformed)"},
        Reading{"Float", value(bytes("\x22\x3F\xC0\0\0")), "{\"k\": real(3ff8000000000000)}"},
        Reading{"Double", value(bytes("\x23\x3F\xF8\0\0\0\0\0\0")), "{\"k\": real(3ff8000000000000)}"},
        Reading{"NotANumber", value(bytes("\x22\x7F\xC0\0\0")), "{\"k\": real(nan)}"},
        Reading{"RealOfTwoBytes", value("\x21\x01\x01"), "(malformed)"},
        Reading{"RealCut", value("\x23\x01"), "(malformed)"},
        Reading{"Date", value(bytes("\x33\x41\xC0\0\0\0\0\0\0")), "{\"k\": other}"},
        Reading{"DateOfFourBytes", value("\x32\x01\x01\x01\x01"), "(malformed)"},
        Reading{"DateCut", value("\x33\x41"), "(malformed)"}, Reading{"UID", value("\x80\x07"), "{\"k\": other}"},
        Reading{"UIDOfThreeBytes", value("\x82\x01\x01\x01"), "{\"k\": other}"},
        Reading{"LargeUID", value("\x84\x01" + std::string(4, '\0')), "(malformed)"},
        Reading{"WideUID", value("\x88" + std::string(9, '\0')), "(wideNumber)"},
        Reading{"URL", value("\x0C\x51x"), "(malformed)"}, Reading{"UnassignedKind", value("\x70"), "(malformed)"},
        Reading{"Data", value(bytes("\x42\0\x01")), "{\"k\": <0001>}"},
        Reading{"EmptyData", value("\x40"), "{\"k\": <>}"},
        Reading{"DataBeyondObjects", value("\x4Axx"), "(malformed)"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Texts, BinaryPropertyListIsRead,
    ::testing::Values(Reading{"Empty", value("\x50"), "{\"k\": \"\"}"},
                      Reading{"Counted", value("\x5F\x10\x03xyz"), "{\"k\": \"xyz\"}"},
                      Reading{"BeyondASCII", value("\x52\xC3\xA9"), "{\"k\": \"\\xc3\\x83\\xc2\\xa9\"}"},
                      Reading{"UTF16", value(bytes("\x65\0A\0\xE9\x20\xAC\xD8\x3D\xDE\0")),
                              "{\"k\": \"A\\xc3\\xa9\\xe2\\x82\\xac\\xf0\\x9f\\x98\\x80\"}"},
                      Reading{"UTF16WithMark", value("\x62\xFE\xFF\x01\x01"), "{\"k\": \"\\xef\\xbb\\xbf\\xc4\\x81\"}"},
                      Reading{"EmptyUTF16", value("\x60"), "(malformed)"},
                      Reading{"BeyondObjects", value("\x5Axx"), "(malformed)"},
                      Reading{"UTF16BeyondObjects", value(bytes("\x62\0A\0")), "(malformed)"},
                      Reading{"CountCut", value("\x5F"), "(malformed)"},
                      Reading{"CountOfOtherKind", value("\x5F\x51\x01"), "(malformed)"},
                      Reading{"CountOf16Bytes", value("\x5F\x14" + bigEndian(1, 16) + "x"), "(wideNumber)"},
                      Reading{"HugeCount", value("\x5F\x13" + std::string(8, '\xFF') + "x"), "(malformed)"},
                      Reading{"HugeUTF16Count", value(bytes("\x6F\x13\x80\0\0\0\0\0\0\x01\0A")), "(malformed)"},
                      Reading{"NUL", value(bytes("\x53x\0y")), "(textWithNUL)"},
                      Reading{"NULInUTF16", value(bytes("\x63\0x\0\0\0y")), "(textWithNUL)"},
                      Reading{"LoneLead", value(bytes("\x62\xD8\x3D\0x")), "(illFormedText)"},
                      Reading{"LeadAtTheEnd", value("\x61\xD8\x3D"), "(illFormedText)"},
                      Reading{"LoneTrail", value(bytes("\x61\xDE\0")), "(illFormedText)"},
                      Reading{"TrailInFront", value(bytes("\x62\xDE\0\xD8\x3D")), "(illFormedText)"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Containers, BinaryPropertyListIsRead,
    ::testing::Values(
        Reading{"EmptyArray", value("\xA0"), "{\"k\": []}"}, Reading{"EmptyDictionary", value("\xD0"), "{\"k\": {}}"},
        Reading{"Set", value("\xC0"), "(kindOfOtherFormats)"}, Reading{"OrderedSet", value("\xB0"), "(malformed)"},
        Reading{"UsedTwice", value("\xA2" + references({1, 1})), "{\"k\": [\"k\", \"k\"]}"},
        Reading{"NoUID",
                list({"\xD1" + references({1, 2}),
                      "\x56"
                      "CF$UID",
                      "\x10\x01"}),
                "{\"CF$UID\": 1}"},
        Reading{"ReferenceBeyondObjects", value("\xA1" + references({3})), "(malformed)"},
        Reading{"ArrayBeyondObjects", value("\xA2" + references({1})), "(malformed)"},
        Reading{"HugeArray", value("\xAF\x13\x7F" + std::string(7, '\xFF')), "(malformed)"},
        Reading{"HugeDictionary", value("\xDF\x13\x40" + std::string(7, '\0') + references({1, 1})), "(malformed)"},
        Reading{"ContainsItself", value("\xA1" + references({2})), "(tooDeep)"},
        Reading{"ContainsTheTop", value("\xA1" + references({0})), "(tooDeep)"},
        Reading{"IntegerKey", list({"\xD1" + references({1, 2}), "\x10\x01", "\x09"}), "(keyOfOtherKind)"},
        Reading{"DictionaryKey", list({"\xD1" + references({1, 2}), "\xD0", "\x09"}), "(keyOfOtherKind)"},
        Reading{"EmptyKey", list({"\xD1" + references({1, 2}), "\x50", "\x09"}), "{\"\": true}"},
        Reading{"RepeatedKey", list({"\xD2" + references({1, 1, 2, 2}), "\x51k", "\x09"}), "(repeatedKey)"},
        Reading{"RepeatedKeyInUTF16", list({"\xD2" + references({1, 2, 3, 3}), "\x51k", bytes("\x61\0k"), "\x09"}),
                "(repeatedKey)"}),
    nameOf);

}  // namespace
}  // namespace brindlewick::testing
