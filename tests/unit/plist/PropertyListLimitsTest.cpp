// What a list may cost, whatever it holds: values, bytes, depth, time.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "unit/plist/PropertyListContent.h"
#include "unit/plist/PropertyListDump.h"

namespace brindlewick::testing {
namespace {

constexpr std::size_t mebibyte = 1024 * 1024;

/// The value inside so many arrays, which lie in a dictionary.
std::string nested(std::size_t arrays, const std::string& value) {
  return entry(repeated("<array>", arrays) + value + repeated("</array>", arrays));
}

TEST(PropertyListLimits, take512LevelsOfXMLAndNoMore) {
  EXPECT_TRUE(parsed(nested(511, "<true/>")));
  EXPECT_TRUE(parsed(nested(511, "<array/>")));
  EXPECT_EQ(verdictOn(nested(511, "<array></array>")), "(tooDeep)");
  EXPECT_EQ(verdictOn(nested(512, "<true/>")), "(tooDeep)");
  EXPECT_EQ(verdictOn(nested(1'000'000, "<true/>")), "(tooDeep)");
}

std::string nestedBinary(std::uint64_t arrays, const std::string& value) {
  BinaryList list = binaryEntry(value);
  list.objects.pop_back();
  for (std::uint64_t i = 0; i < arrays; ++i) list.objects.push_back("\xA1" + references({i + 3}));
  list.objects.push_back(value);
  return list.bytes();
}

TEST(PropertyListLimits, take512LevelsOfBinaryListsAndNoMore) {
  EXPECT_TRUE(parsed(nestedBinary(511, "\x09")));
  EXPECT_TRUE(parsed(nestedBinary(511, "\xA0")));
  EXPECT_EQ(verdictOn(nestedBinary(512, "\x09")), "(tooDeep)");
  EXPECT_EQ(verdictOn(nestedBinary(60'000, "\x09")), "(tooDeep)");
}

TEST(PropertyListLimits, takeAMillionValuesAndNoMore) {
  // The dictionary and the array count too.
  EXPECT_TRUE(parsed(entry("<array>" + repeated("<true/>", 999'998) + "</array>")));
  EXPECT_EQ(verdictOn(entry("<array>" + repeated("<true/>", 999'999) + "</array>")), "(tooLarge)");
}

/// Arrays of two references to the next one: 2^levels values from a few bytes.
std::string manyLaughs(std::uint64_t levels) {
  BinaryList list{{"\xD1" + references({1, 2}), "\x51k"}};
  for (std::uint64_t i = 0; i < levels; ++i) list.objects.push_back("\xA2" + references({i + 3, i + 3}));
  list.objects.push_back("\x51v");
  return list.bytes();
}

TEST(PropertyListLimits, countAnObjectAsOftenAsItIsUsed) {
  // 2^n - 1 arrays and texts, and the dictionary.
  EXPECT_TRUE(parsed(manyLaughs(18)));
  EXPECT_EQ(verdictOn(manyLaughs(19)), "(tooLarge)");
  EXPECT_EQ(verdictOn(manyLaughs(400)), "(tooLarge)");
}

/// One text of 64 KiB in an array, so many times.
std::string longLaughs(std::uint64_t times) {
  BinaryList list = binaryEntry("\xAF\x11" + bigEndian(times, 2) + repeated(references({3}), times));
  list.objects.push_back("\x5F\x12" + bigEndian(0x10000, 4) + std::string(0x10000, 'x'));
  return list.bytes();
}

TEST(PropertyListLimits, countATextAsOftenAsItIsUsed) {
  EXPECT_TRUE(parsed(longLaughs(1023)));
  EXPECT_EQ(verdictOn(longLaughs(1024)), "(tooLarge)");  // the key is a byte too many
}

TEST(PropertyListLimits, take64MebibytesAndNoMore) {
  const auto overhead = entry("<string></string>").size();
  EXPECT_TRUE(parsed(entry("<string>" + std::string(64 * mebibyte - overhead, 'x') + "</string>")));
  EXPECT_EQ(verdictOn(entry("<string>" + std::string(64 * mebibyte - overhead + 1, 'x') + "</string>")), "(tooLarge)");
}

TEST(PropertyListLimits, measureTheContentWithItsTextsAndValues) {
  const std::string content = entry("<array><string>v\xC3\xA9</string><data>AQI=</data><true/></array>");
  EXPECT_EQ(readPropertyList(asBytes(content)).extent,
            (PropertyListExtent{.byteCount = content.size() + 1 + 3 + 2, .valueCount = 5}));
  const std::string binary = binaryEntry(bytes("\x61\0\xE9")).bytes();
  EXPECT_EQ(readPropertyList(asBytes(binary)).extent,
            (PropertyListExtent{.byteCount = binary.size() + 1 + 2, .valueCount = 2}));
}

/// What takes more than linear time needs hours for each of these.
TEST(PropertyListLimits, areOfTimeToo) {
  const std::size_t size = 16 * mebibyte;
  for (const auto& [content, verdict] : std::vector<std::pair<std::string, std::string>>{
           {entry("<string>" + repeated("&", size) + "</string>"), "(malformed)"},
           {entry("<string>" + repeated("<![CDATA[", size / 9)), "(malformed)"},
           {"<plist>" + repeated("<!---->", size / 7), "(malformed)"},
           {"<plist>" + repeated("<!--", size / 4), "(malformed)"},
           {"<plist>" + repeated("<?", size / 2), "(malformed)"},
           {repeated("<!DOCTYPE>", size / 10), "(malformed)"},
           {"<plist><dict>" + repeated("<key>", size / 5), "(malformed)"},
           {"<?xml " + repeated("encoding=", size / 9) + "?><plist>", "(malformed)"},
           {entry("<real>" + repeated("1", size) + "e</real>"), "(malformed)"},
           {entry("<integer>" + repeated(" ", size) + "</integer>"), "(malformed)"},
           {document("<dict>" + repeated("<key>k</key><true/>", size / 20) + "</dict>"), "(repeatedKey)"}})
    EXPECT_EQ(verdictOn(content), verdict) << content.substr(0, 200);
}

/// 33 * 'a' + 'b' = 33 * 'b' + 'A': any sequence of the two pairs has the same sum.
std::string collidingKey(unsigned number) {
  std::string key;
  for (unsigned bit = 0; bit < 16; ++bit) key += (number >> bit & 1) != 0 ? "ab" : "bA";
  return key;
}

TEST(PropertyListLimits, readKeysThatWouldCollideInAHashTable) {
  std::string entries;
  for (unsigned i = 0; i < 1U << 16; ++i) entries.append("<key>").append(collidingKey(i)).append("</key><true/>");
  const auto tree = parsed(document("<dict>" + entries + "</dict>"));
  ASSERT_TRUE(tree);
  EXPECT_EQ(tree->size(), 1U << 16);
}

TEST(PropertyListLimits, readATextOfAMillionEntities) {
  EXPECT_EQ(parsedValue<std::string>(entry("<string>" + repeated("&lt;", 1'000'000) + "</string>")),
            std::string(1'000'000, '<'));
}

TEST(PropertyListLimits, readADictionaryOfTwentyThousandSeals) {
  std::string entries;
  for (int i = 0; i < 20'000; ++i)
    entries += "<key>Resources/en.lproj/part-" + std::to_string(i) +
               ".nib</key><dict><key>hash2</key><data>AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=</data></dict>\n";
  const auto seals = parsedValue<PropertyListTree>(entry("<dict>" + entries + "</dict>"));
  ASSERT_TRUE(seals);
  EXPECT_EQ(seals->size(), 20'000U);
  EXPECT_EQ(
      find(*find(*seals, "Resources/en.lproj/part-19999.nib")->as<PropertyListTree>(), "hash2")->as<Bytes>()->size(),
      32U);
}

}  // namespace
}  // namespace brindlewick::testing
