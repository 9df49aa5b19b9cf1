#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "unit/platform/PropertyListContent.h"

namespace brindlewick::testing {
namespace {

TEST(XMLPropertyList, isReadInEachFormThatIsWritten) {
  const std::string dictionary = "<dict><key>k</key><string>v</string></dict>";
  for (const std::string& text : std::vector<std::string>{
           "<plist>" + dictionary + "</plist>", "<plist version=\"1.0\">" + dictionary + "</plist>",
           "\xEF\xBB\xBF<plist>" + dictionary + "</plist>", "\xEF\xBB\xBF" + document(dictionary),
           "<?xml version=\"1.0\"?><plist>" + dictionary + "</plist>\r\n",
           "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"no\" ?><plist>" + dictionary + "</plist>",
           "<!DOCTYPE plist SYSTEM \"file://localhost/System/Library/DTDs/PropertyList.dtd\">\n<plist>" + dictionary +
               "</plist>",
           "<!DOCTYPE plist>\n<plist>" + dictionary + "</plist>",
           "<!-- a --><plist><!-- b --><dict><!-- <key>x</key> --><key>k</key><!----><string>v</string>"
           "<!-- - --></dict><!-- c --></plist>"})
    EXPECT_EQ(parsedValue<std::string>(text), "v") << text;
}

TEST(XMLPropertyList, decodesText) {
  EXPECT_EQ(parsedValue<std::string>(entry("<string/>")), "");
  EXPECT_EQ(parsedValue<std::string>(entry("<string></string>")), "");
  EXPECT_EQ(parsedValue<std::string>(entry("<string> \n\t</string>")), " \n\t");
  EXPECT_EQ(parsedValue<std::string>(entry("<string>&lt;a b=&quot;&apos;&amp;lt;&gt;</string>")), "<a b=\"'&lt;>");
  EXPECT_EQ(parsedValue<std::string>(entry("<string>&#38;amp;</string>")), "&amp;");
  EXPECT_EQ(parsedValue<std::string>(entry("<string>&#xe9;&#8364;&#xFFFD;&#13;</string>")),
            "\xC3\xA9\xE2\x82\xAC\xEF\xBF\xBD\r");
  EXPECT_EQ(parsedValue<std::string>(document("<dict><key>&#107;</key><string>v</string></dict>")), "v");
}

TEST(XMLPropertyList, readsNumbersDatesAndData) {
  EXPECT_EQ(parsedValue<std::int64_t>(entry("<integer>0</integer>")), 0);
  EXPECT_EQ(parsedValue<std::int64_t>(entry("<integer>9223372036854775807</integer>")),
            std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(parsedValue<std::int64_t>(entry("<integer>-9223372036854775808</integer>")),
            std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(parsedValue<double>(entry("<real>-1.5e3</real>")), -1500);
  EXPECT_EQ(parsedValue<double>(entry("<real>1000</real>")), 1000);
  EXPECT_TRUE(parsedValue<std::monostate>(entry("<date>2026-02-28T23:59:59Z</date>")));
  EXPECT_EQ(parsedValue<Bytes>(entry("<data/>")), Bytes());
  EXPECT_EQ(parsedValue<Bytes>(entry("<data>\n</data>")), Bytes());
  EXPECT_EQ(parsedValue<Bytes>(entry("<data>\n\tAP/+\n\tAQ==\r\n</data>")), Bytes({0x00, 0xFF, 0xFE, 0x01}));
  EXPECT_EQ(parsedValue<Bytes>(entry("<data>AQI=</data>")), Bytes({1, 2}));
  EXPECT_EQ(parsedValue<bool>(entry("<true />")), true);
}

TEST(XMLPropertyList, takes32LevelsAndNoMore) {
  const auto nested = [](std::size_t arrays) {
    return entry(repeated("<array>", arrays) + "<true/>" + repeated("</array>", arrays));
  };
  EXPECT_TRUE(parsed(nested(31)));
  EXPECT_FALSE(parsed(nested(32)));
  EXPECT_FALSE(parsed(nested(1'000'000)));
}

TEST(XMLPropertyList, takesAMillionValuesAndNoMore) {
  // The dictionary and the array count too.
  EXPECT_TRUE(parsed(entry("<array>" + repeated("<true/>", 999'998) + "</array>")));
  EXPECT_FALSE(parsed(entry("<array>" + repeated("<true/>", 999'999) + "</array>")));
}

TEST(XMLPropertyList, takes64MebibytesAndNoMore) {
  const auto overhead = entry("<string></string>").size();
  const std::size_t limit = 64 * 1024 * 1024;
  EXPECT_TRUE(parsed(entry("<string>" + std::string(limit - overhead, 'x') + "</string>")));
  EXPECT_FALSE(parsed(entry("<string>" + std::string(limit - overhead + 1, 'x') + "</string>")));
}

TEST(XMLPropertyList, readsADictionaryOfTwentyThousandSeals) {
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

/// Runs for hours if nothing stops it, and otherwise for less than this.
void expectRefusedAtOnce(const std::string& content) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(parsed(content));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(XMLPropertyList, refusesKeysMadeToCollide) {
  // 33 * 'a' + 'b' = 33 * 'b' + 'A': any sequence of the two pairs has the same sum.
  std::string entries;
  for (unsigned i = 0; i < 1U << 15; ++i) {
    std::string key;
    for (unsigned bit = 0; bit < 15; ++bit) key += (i >> bit & 1) != 0 ? "ab" : "bA";
    entries.append("<key>").append(key).append("</key><true/>");
  }
  expectRefusedAtOnce(document("<dict>" + entries + "</dict>"));
}

TEST(XMLPropertyList, refusesATextOfManyEntities) {
  expectRefusedAtOnce(entry("<string>" + repeated("&lt;", 1'000'000) + "</string>"));
  EXPECT_EQ(parsedValue<std::string>(entry("<string>" + repeated("&lt;", 10'000) + "</string>")),
            std::string(10'000, '<'));
}

TEST(XMLPropertyList, refusesATextOfAmpersandsAtOnce) {
  expectRefusedAtOnce(entry("<string>" + repeated("&", 5'000'000) + "</string>"));
}

TEST(XMLPropertyList, refusesAKeyRepeatedOverAndOver) {
  std::string entries;
  for (int i = 0; i < 200'000; ++i) entries += "<key>" + std::to_string(i) + "</key><true/>";
  expectRefusedAtOnce(document("<dict>" + entries + repeated("<key>199999</key><true/>", 200'000) + "</dict>"));
}

}  // namespace
}  // namespace brindlewick::testing
