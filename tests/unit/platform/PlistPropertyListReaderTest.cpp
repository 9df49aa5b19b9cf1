#include "platform/linux/PlistPropertyListReader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/TemporaryFolder.h"

namespace brindlewick::testing {
namespace {

std::string dataFile(const std::string& name) {
  return readFile(Path(std::string(BRINDLEWICK_TEST_DATA) + "/property_lists/" + name));
}

class ApplicationPropertyList : public ::testing::TestWithParam<const char*> {};

TEST_P(ApplicationPropertyList, isReadAsAFlatDictionary) {
  PlistPropertyListReader reader;
  const auto dictionary = reader.dictionary(asBytes(dataFile(GetParam())));
  ASSERT_TRUE(dictionary);
  EXPECT_EQ(dictionary->size(), 21U);
  EXPECT_EQ(dictionary->at("CFBundleVersion"), PropertyListValue("2400"));
  EXPECT_EQ(dictionary->at("UpdateChannel"), PropertyListValue(std::int64_t{-3}));
  EXPECT_EQ(dictionary->at("UpdateCheckWeight"), PropertyListValue(1000.5));
  for (const char* key :
       {"BuildDate", "CFBundleDocumentTypes", "LSRequiresNativeExecution", "NSAppTransportSecurity", "UpdateKey"})
    EXPECT_EQ(dictionary->at(key), PropertyListValue()) << key;
}

INSTANTIATE_TEST_SUITE_P(PropertyListReader, ApplicationPropertyList,
                         ::testing::Values("Info.plist", "Info.binary.plist"),
                         [](const auto& info) { return std::string(info.index == 0 ? "XML" : "Binary"); });

TEST(PropertyListReader, readsBuildsInEveryNotationOfMacOS) {
  for (const char* notation : {"118", "+118", "0118", "0x76", " 118"}) {
    const std::string list =
        "\n<?xml version='1.0' encoding='US-ASCII'?><plist version=\"0.9\"><dict >\n<key>CFBundleVersion"
        "</key ><integer>" +
        std::string(notation) + "</integer></dict></plist> <!-- end -->";
    PlistPropertyListReader reader;
    const auto dictionary = reader.dictionary(asBytes(list));
    ASSERT_TRUE(dictionary) << notation;
    EXPECT_EQ(dictionary->at("CFBundleVersion"), PropertyListValue(std::int64_t{118})) << notation;
  }
}

TEST(PropertyListReader, leavesTextsThatLookLikeNumbersAlone) {
  PlistPropertyListReader reader;
  const auto dictionary = reader.dictionary(asBytes("<dict><key>CFBundleVersion</key><string>0x76</string></dict>"));
  ASSERT_TRUE(dictionary);
  EXPECT_EQ(dictionary->at("CFBundleVersion"), PropertyListValue("0x76"));
}

TEST(PropertyListReader, refusesWhatIsNoDictionary) {
  PlistPropertyListReader reader;
  EXPECT_FALSE(reader.dictionary(asBytes("<plist><array/></plist>")));
  EXPECT_FALSE(reader.dictionary({}));
}

}  // namespace
}  // namespace brindlewick::testing
