#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "plist/PropertyListTree.h"
#include "support/TemporaryFolder.h"
#include "unit/plist/PropertyListContent.h"

namespace brindlewick::testing {
namespace {

using ::testing::IsEmpty;

std::string dataFile(const std::string& name) {
  return readFile(Path(std::string(BRINDLEWICK_TEST_DATA) + "/property_lists/" + name));
}

class ApplicationPropertyList : public ::testing::TestWithParam<const char*> {};

TEST_P(ApplicationPropertyList, isReadWhole) {
  const auto tree = parsed(dataFile(GetParam()));
  ASSERT_TRUE(tree);
  EXPECT_EQ(tree->size(), 21U);
  EXPECT_EQ(*find(*tree, "CFBundleIdentifier")->as<std::string>(), "com.brindlewick.desktop");
  EXPECT_EQ(*find(*tree, "NSHumanReadableCopyright")->as<std::string>(),
            "Copyright \xC2\xA9 2026 Brindlewick & friends. \xE2\x80\x9C"
            "All\xE2\x80\x9D rights reserved \xF0\x9F\x98\x80");
  EXPECT_EQ(*find(*tree, "UpdateChannel")->as<std::int64_t>(), -3);
  EXPECT_EQ(*find(*tree, "UpdateCheckWeight")->as<double>(), 1000.5);
  EXPECT_FALSE(*find(*tree, "LSRequiresNativeExecution")->as<bool>());
  EXPECT_TRUE(find(*tree, "BuildDate")->as<std::monostate>());
  EXPECT_THAT(*find(*tree, "NSAppTransportSecurity")->as<PropertyListTree>(), IsEmpty());
  Bytes key(32);
  for (std::size_t i = 0; i < key.size(); ++i) key[i] = static_cast<std::uint8_t>(i);
  EXPECT_EQ(*find(*tree, "UpdateKey")->as<Bytes>(), key);
  const auto& types = *find(*tree, "CFBundleDocumentTypes")->as<PropertyListArray>();
  ASSERT_EQ(types.size(), 1U);
  EXPECT_TRUE(*find(*types[0].as<PropertyListTree>(), "LSTypeIsPackage")->as<bool>());
  EXPECT_EQ(find(*tree, "Missing"), nullptr);
}

TEST_P(ApplicationPropertyList, isRefusedWhenCutAnywhere) {
  const std::string content = dataFile(GetParam());
  const auto end = content.find_last_not_of('\n') + 1;
  for (std::size_t length = 0; length < end; ++length) EXPECT_FALSE(parsed(content.substr(0, length))) << length;
}

INSTANTIATE_TEST_SUITE_P(PropertyList, ApplicationPropertyList, ::testing::Values("Info.plist", "Info.binary.plist"),
                         [](const auto& info) { return std::string(info.index == 0 ? "XML" : "Binary"); });

}  // namespace
}  // namespace brindlewick::testing
