#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "unit/platform/PropertyListContent.h"

namespace brindlewick::testing {
namespace {

using ::testing::IsEmpty;

std::string bigEndian(std::uint64_t number, int width) {
  std::string bytes;
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

/// A binary property list of these objects, the first one on top, with references of two bytes.
struct BinaryList {
  std::vector<std::string> objects;
  int offsetWidth = 4;
  int referenceWidth = 2;
  std::uint64_t top = 0;
  std::uint64_t additionalObjects = 0;
  std::uint64_t offsetShift = 0;
  std::uint64_t tableShift = 0;

  [[nodiscard]] std::string bytes() const {
    std::string content = "bplist00", table;
    for (const auto& object : objects) {
      table += bigEndian(content.size() + offsetShift, offsetWidth);
      content += object;
    }
    const auto start = content.size() + tableShift;
    return content + table + std::string(6, '\0') + bigEndian(static_cast<unsigned>(offsetWidth), 1) +
           bigEndian(static_cast<unsigned>(referenceWidth), 1) + bigEndian(objects.size() + additionalObjects, 8) +
           bigEndian(top, 8) + bigEndian(start, 8);
  }
};

std::string references(const std::vector<std::uint64_t>& numbers) {
  std::string bytes;
  for (const auto number : numbers) bytes += bigEndian(number, 2);
  return bytes;
}

/// A dictionary whose one entry "k" has this object as its value.
BinaryList binaryEntry(std::string object) { return {{"\xD1" + references({1, 2}), "\x51k", std::move(object)}}; }

TEST(BinaryPropertyList, readsEveryKind) {
  EXPECT_EQ(parsedValue<bool>(binaryEntry("\x09").bytes()), true);
  EXPECT_EQ(parsedValue<std::int64_t>(binaryEntry("\x10\xFF").bytes()), 255);
  EXPECT_EQ(parsedValue<std::int64_t>(binaryEntry("\x11\xFF\xFF").bytes()), 65535);
  EXPECT_EQ(parsedValue<std::int64_t>(binaryEntry("\x12\xFF\xFF\xFF\xFF").bytes()), 4294967295);
  EXPECT_EQ(parsedValue<std::int64_t>(binaryEntry("\x13" + std::string(8, '\xFF')).bytes()), -1);
  EXPECT_EQ(parsedValue<double>(binaryEntry(bytes("\x22\x3F\xC0\0\0")).bytes()), 1.5);
  EXPECT_EQ(parsedValue<double>(binaryEntry(bytes("\x23\x3F\xF8\0\0\0\0\0\0")).bytes()), 1.5);
  EXPECT_TRUE(parsedValue<std::monostate>(binaryEntry(bytes("\x33\x41\xC0\0\0\0\0\0\0")).bytes()));
  EXPECT_TRUE(parsedValue<std::monostate>(binaryEntry("\x80\x07").bytes()));
  EXPECT_EQ(parsedValue<Bytes>(binaryEntry(bytes("\x42\0\x01")).bytes()), Bytes({0, 1}));
  EXPECT_EQ(parsedValue<Bytes>(binaryEntry("\x40").bytes()), Bytes());
  EXPECT_EQ(parsedValue<std::string>(binaryEntry("\x50").bytes()), "");
  EXPECT_EQ(parsedValue<std::string>(binaryEntry("\x5F\x10\x03xyz").bytes()), "xyz");
  EXPECT_EQ(parsedValue<std::string>(binaryEntry(bytes("\x65\0A\0\xE9\x20\xAC\xD8\x3D\xDE\0")).bytes()),
            "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_THAT(parsedValue<PropertyListArray>(binaryEntry("\xA0").bytes()).value(), IsEmpty());
  EXPECT_THAT(parsedValue<PropertyListTree>(binaryEntry("\xD0").bytes()).value(), IsEmpty());
}

TEST(BinaryPropertyList, readsAnObjectThatIsUsedTwice) {
  const auto elements = parsedValue<PropertyListArray>(binaryEntry("\xA2" + references({1, 1})).bytes());
  ASSERT_TRUE(elements);
  EXPECT_EQ(elements->size(), 2U);
  EXPECT_EQ(*elements->at(1).as<std::string>(), "k");
}

TEST(BinaryPropertyList, takes32LevelsAndNoMore) {
  const auto nested = [](std::uint64_t arrays) {
    BinaryList list = binaryEntry("\x09");
    list.objects.pop_back();
    for (std::uint64_t i = 0; i < arrays; ++i) list.objects.push_back("\xA1" + references({i + 3}));
    list.objects.push_back("\x09");
    return list.bytes();
  };
  EXPECT_TRUE(parsed(nested(31)));
  EXPECT_FALSE(parsed(nested(32)));
  EXPECT_FALSE(parsed(nested(60'000)));
}

class BinaryPropertyListRefuses : public ::testing::TestWithParam<Content> {};

TEST_P(BinaryPropertyListRefuses, theContent) { EXPECT_FALSE(parsed(GetParam().content)); }

std::string spoilt(const std::function<void(BinaryList&)>& spoil) {
  BinaryList list = binaryEntry("\x09");
  spoil(list);
  return list.bytes();
}

std::string value(std::string object) { return binaryEntry(std::move(object)).bytes(); }

/// Arrays of two references to the next one: 2^levels values from a few bytes.
std::string manyLaughs(std::uint64_t levels) {
  BinaryList list{{"\xD1" + references({1, 2}), "\x51k"}};
  for (std::uint64_t i = 0; i < levels; ++i) list.objects.push_back("\xA2" + references({i + 3, i + 3}));
  list.objects.push_back("\x51v");
  return list.bytes();
}

/// One long text, used over and over.
std::string longLaughs() {
  BinaryList list = binaryEntry("\xAF\x11\x10\x01" + repeated(references({3}), 0x1001));
  list.objects.push_back("\x5F\x12" + bigEndian(0x4000, 4) + std::string(0x4000, 'x'));
  return list.bytes();
}

INSTANTIATE_TEST_SUITE_P(
    Trailers, BinaryPropertyListRefuses,
    ::testing::Values(Content{"HeaderOnly", "bplist00"}, Content{"TrailerOnly", "bplist00" + std::string(32, '\0')},
                      Content{"NoObjects", BinaryList{}.bytes()},
                      Content{"TopBeyondObjects", spoilt([](auto& list) { list.top = 3; })},
                      Content{"TopIsNoDictionary", spoilt([](auto& list) { list.top = 1; })},
                      Content{"TooManyObjects", spoilt([](auto& list) { list.additionalObjects = 1; })},
                      Content{"TooFewObjects", spoilt([](auto& list) { list.additionalObjects = ~std::uint64_t{0}; })},
                      Content{"HugeObjectCount",
                              spoilt([](auto& list) { list.additionalObjects = std::uint64_t{1} << 62; })},
                      Content{"OffsetsIntoTheTable", spoilt([](auto& list) { list.offsetShift = 64; })},
                      Content{"OffsetsIntoTheHeader", spoilt([](auto& list) { list.offsetShift = ~std::uint64_t{3}; })},
                      Content{"TableLate", spoilt([](auto& list) { list.tableShift = 4; })},
                      Content{"TableOutside", spoilt([](auto& list) { list.tableShift = 1000; })},
                      Content{"TableInTheHeader", spoilt([](auto& list) { list.tableShift = ~std::uint64_t{10}; })},
                      Content{"OddOffsetWidth", spoilt([](auto& list) { list.offsetWidth = 3; })},
                      Content{"OddReferenceWidth", spoilt([](auto& list) { list.referenceWidth = 3; })},
                      Content{"NoReferenceWidth", spoilt([](auto& list) { list.referenceWidth = 0; })},
                      Content{"TrailingByte", binaryEntry("\x09").bytes() + bytes("\0")}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Objects, BinaryPropertyListRefuses,
    ::testing::Values(
        Content{"Null", value(bytes("\0"))}, Content{"Fill", value("\x0F")}, Content{"OtherSimple", value("\x0A")},
        Content{"Integer128", value("\x14" + std::string(16, '\0'))},
        Content{"IntegerOfOddSize", value("\x15" + std::string(32, '\0'))}, Content{"IntegerCut", value("\x13\x01")},
        Content{"RealOfTwoBytes", value("\x21\x01\x01")},
        Content{"RealNotANumber", value(bytes("\x23\x7F\xF8\0\0\0\0\0\0"))},
        Content{"RealInfinity", value(bytes("\x22\x7F\x80\0\0"))},
        Content{"DateOfFourBytes", value("\x32\x01\x01\x01\x01")}, Content{"DateCut", value("\x33\x41")},
        Content{"UIDOfThreeBytes", value("\x82\x01\x01\x01")},
        Content{"UIDOfEightBytes", value("\x87" + std::string(8, '\0'))}, Content{"Set", value("\xC0")},
        Content{"OrderedSet", value("\xB0")}, Content{"URL", value("\x0C\x51x")},
        Content{"UnassignedKind", value("\x70")}, Content{"DataBeyondObjects", value("\x4Axx")},
        Content{"TextBeyondObjects", value("\x5Axx")}, Content{"UTF16BeyondObjects", value(bytes("\x62\0A\0"))},
        Content{"CountCut", value("\x5F")}, Content{"CountOfOtherKind", value("\x5F\x51\x01")},
        Content{"CountOf16Bytes", value("\x5F\x14" + std::string(15, '\0') + "\x01x")},
        Content{"HugeCount", value("\x5F\x13" + std::string(8, '\xFF') + "x")},
        Content{"HugeUTF16Count", value(bytes("\x6F\x13\x80\0\0\0\0\0\0\x01\0A"))},
        Content{"HugeArray", value("\xAF\x13\x7F" + std::string(7, '\xFF'))},
        Content{"HugeDictionary", value("\xDF\x13\x40" + std::string(7, '\0') + references({1, 1}))},
        Content{"ASCIIBeyond7F", value("\x52\xC3\xA9")}, Content{"ASCIIWithNUL", value(bytes("\x53x\0y"))},
        Content{"UTF16WithNUL", value(bytes("\x63\0x\0\0\0y"))},
        Content{"LoneLeadSurrogate", value(bytes("\x62\xD8\x3D\0x"))},
        Content{"LeadSurrogateAtTheEnd", value(bytes("\x61\xD8\x3D"))},
        Content{"LoneTrailSurrogate", value(bytes("\x61\xDE\0"))},
        Content{"SwappedSurrogates", value(bytes("\x62\xDE\0\xD8\x3D"))}, Content{"EmptyUTF16", value("\x60")},
        Content{"ReferenceBeyondObjects", value("\xA1" + references({3}))},
        Content{"ContainsItself", value("\xA1" + references({2}))},
        Content{"ContainsTheTop", value("\xA1" + references({0}))},
        Content{"IntegerKey", value("\xD1" + references({2, 1}))},
        Content{"DictionaryKey", BinaryList{{"\xD1" + references({1, 2}), "\xD0", "\x09"}}.bytes()},
        Content{"EmptyKey", BinaryList{{"\xD1" + references({1, 2}), "\x50", "\x09"}}.bytes()},
        Content{"RepeatedKey", BinaryList{{"\xD2" + references({1, 1, 2, 2}), "\x51k", "\x09"}}.bytes()},
        Content{"RepeatedKeyInUTF16",
                BinaryList{{"\xD2" + references({1, 2, 3, 3}), "\x51k", bytes("\x61\0k"), "\x09"}}.bytes()},
        Content{"ManyLaughs", manyLaughs(29)}, Content{"LongLaughs", longLaughs()}),
    nameOf);

TEST(BinaryPropertyList, unfoldsToAMillionValues) {
  // 2^n - 1 arrays and texts, and the dictionary.
  EXPECT_TRUE(parsed(manyLaughs(18)));
  EXPECT_FALSE(parsed(manyLaughs(19)));
}

TEST(BinaryPropertyList, readsALargeDictionaryWhateverItsKeys) {
  BinaryList list{{""}};
  std::vector<std::uint64_t> keys, values;
  for (std::uint64_t i = 0; i < 20'000; ++i) {
    keys.push_back(i + 2);
    values.push_back(1);
  }
  list.objects = {"\xDF\x12" + bigEndian(20'000, 4) + references(keys) + references(values), "\x09"};
  for (unsigned i = 0; i < 20'000; ++i) {
    std::string key;
    for (unsigned bit = 0; bit < 15; ++bit) key += (i >> bit & 1) != 0 ? "ab" : "bA";
    list.objects.push_back("\x5F\x10" + std::string(1, static_cast<char>(key.size())) + key);
  }
  const auto tree = parsed(list.bytes());
  ASSERT_TRUE(tree);
  EXPECT_EQ(tree->size(), 20'000U);
}

}  // namespace
}  // namespace brindlewick::testing
