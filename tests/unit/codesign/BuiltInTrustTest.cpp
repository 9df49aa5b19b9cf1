#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/linux/codesign/BuiltInAnchors.h"
#include "platform/linux/codesign/Certificate.h"
#include "platform/linux/codesign/CodeSigningTrust.h"

namespace brindlewick::testing {
namespace {

std::string hex(const SHA256Digest& digest) {
  std::string text;
  for (const std::uint8_t byte : digest)
    for (const int nibble : {byte >> 4, byte & 15}) text += "0123456789abcdef"[nibble];
  return text;
}

TEST(BuiltInTrust, itsAnchorsAreThoseOfTheBuild) {
  std::set<std::string> anchors;
  for (const SHA256Digest& anchor : builtInTrust().anchors) anchors.insert(hex(anchor));
  std::set<std::string> expected;
  std::istringstream setting(BRINDLEWICK_ANCHOR_SHA256);
  for (std::string anchor; std::getline(setting, anchor, ';');) expected.insert(anchor);
  EXPECT_EQ(anchors, expected);
}

TEST(BuiltInTrust, itsRootOfTicketsIsTheThirdOfApple) {
  const CodeSigningTrust trust = builtInTrust();
  ASSERT_EQ(trust.ticketRoots.size(), 1U);
  const auto root = codesign::Certificate::fromDER(trust.ticketRoots.front());
  ASSERT_TRUE(root.has_value());
  EXPECT_EQ(hex(root->fingerprint()), "63343abfb89a6a03ebb57e9b3f5fa7be7c4f5c756f3017b3a8c488c3653e9179");
  EXPECT_EQ(root->subjectValues("CN"), std::vector<std::string>{"Apple Root CA - G3"});
}

TEST(BuiltInTrust, itsTimeIsThatOfTheSystem) {
  const auto before = std::chrono::system_clock::now();
  const auto now = builtInTrust().now();
  EXPECT_LE(before, now);
  EXPECT_LE(now, std::chrono::system_clock::now());
}

}  // namespace
}  // namespace brindlewick::testing
