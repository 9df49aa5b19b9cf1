#include "platform/macos/CoreFoundationPropertyList.h"

#include <gtest/gtest.h>

#include <array>

namespace brindlewick {
namespace {

std::string xml(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + body + "</plist>";
}

std::optional<PropertyListDictionary> read(std::string_view text) {
  return CoreFoundationPropertyList().dictionary(asBytes(text));
}

TEST(CoreFoundationPropertyList, readsTextsAndNumbersAndNothingElse) {
  const auto list =
      read(xml("<dict><key>text</key><string>caf\xC3\xA9</string><key>number</key><integer>-7</integer>"
               "<key>real</key><real>1.5</real><key>true</key><true/><key>list</key><array/></dict>"));
  ASSERT_TRUE(list);
  EXPECT_EQ(list->size(), 5U);
  EXPECT_EQ(list->at("text"), PropertyListValue(std::string("caf\xC3\xA9")));
  EXPECT_EQ(list->at("number"), PropertyListValue(std::int64_t{-7}));
  EXPECT_EQ(list->at("real"), PropertyListValue(1.5));
  for (const char* key : {"true", "list"}) EXPECT_EQ(list->at(key), PropertyListValue()) << key;
}

TEST(CoreFoundationPropertyList, readsTheBinaryForm) {
  // {"a": 5}: a dictionary of one pair, the two objects, the table of their offsets and the trailer.
  constexpr std::array<std::uint8_t, 50> content{
      'b',  'p',  'l', 'i', 's', 't', '0', '0', 0xD1, 0x01, 0x02, 0x51, 'a', 0x10, 0x05, 0x08, 0x0B,
      0x0D, 0x00, 0,   0,   0,   0,   0,   1,   1,    0,    0,    0,    0,   0,    0,    0,    3,
      0,    0,    0,   0,   0,   0,   0,   0,   0,    0,    0,    0,    0,   0,    0,    0x0F};
  const auto list = CoreFoundationPropertyList().dictionary(content);
  ASSERT_TRUE(list);
  EXPECT_EQ(list->at("a"), PropertyListValue(std::int64_t{5}));
}

TEST(CoreFoundationPropertyList, refusesWhatIsNoDictionary) {
  for (const auto& text : {xml("<array/>"), xml("<string>x</string>"), std::string(), std::string("bplist00"),
                           std::string("{ a = b; }"), xml("<dict><key>a</key></dict>")})
    EXPECT_FALSE(read(text)) << text;
}

TEST(CoreFoundationPropertyList, refusesAnIntegerBeyond64Bits) {
  EXPECT_TRUE(read(xml("<dict><key>a</key><integer>9223372036854775807</integer></dict>")));
  EXPECT_TRUE(read(xml("<dict><key>a</key><integer>-9223372036854775808</integer></dict>")));
  EXPECT_FALSE(read(xml("<dict><key>a</key><integer>9223372036854775808</integer></dict>")));
  EXPECT_FALSE(read(xml("<dict><key>a</key><integer>18446744073709551615</integer></dict>")));
}

}  // namespace
}  // namespace brindlewick
