#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <variant>
#include <vector>

#include "platform/linux/codesign/FrameworkVersions.h"
#include "support/TemporaryFolder.h"
#include "unit/codesign/BrokenRule.h"

namespace brindlewick::codesign {
namespace {

using Texts = std::vector<std::string>;

/// A framework with the versions A, B and ..C, and two links whose texts the tests choose.
class FrameworkLinks : public ::testing::Test {
 protected:
  FrameworkLinks() {
    for (const char* version : {"A", "B", "..C"}) {
      std::filesystem::create_directories(path("Versions/" + std::string(version)));
      testing::writeFile(framework / "Versions" / version / "Core", "");
    }
  }

  [[nodiscard]] std::string path(const std::string& item) const { return (framework / item).string(); }

  void link(const std::string& item, const std::string& text) const {
    std::filesystem::remove(path(item));
    std::filesystem::create_symlink(text, path(item));
  }

  [[nodiscard]] FrameworkVersions read() const { return readFrameworkVersions(std::get<Folder>(openCode(framework))); }

  [[nodiscard]] bool isAccepted() const {
    return testing::brokenRuleOf([&] { static_cast<void>(read()); }).empty();
  }

  /// Where the system ends that follows the link, relative to the framework.
  [[nodiscard]] std::string followed(const std::string& item) const {
    return std::filesystem::weakly_canonical(path(item)).lexically_relative(path("")).string();
  }

  testing::TemporaryFolder folder;
  Path framework = folder / "Core.framework";
};

/// All texts of one part of each list, in their order.
Texts joined(const std::vector<Texts>& parts) {
  Texts texts = {""};
  for (const Texts& part : parts) {
    Texts longer;
    for (const std::string& text : texts)
      for (const std::string& end : part) longer.push_back(text + end);
    texts = longer;
  }
  std::erase(texts, "");
  return texts;
}

Texts currentTexts() {
  return joined({{"", "./", "././", "/", "../", "../Versions/", ".//", "A/../"},
                 {"", "A", "B", "..C", "C", "a", "Current", ".", "..", "A/Core", "*"},
                 {"", "/", "/."}});
}

TEST_F(FrameworkLinks, nameTheCurrentVersionOrNothing) {
  // What the platform asks of the text; the version must then be there.
  const std::regex rule(R"(^(\./)?(\.\.[^/]+|\.?[^./][^/]*)$)");
  std::size_t accepted = 0;
  for (const std::string& text : currentTexts()) {
    link("Versions/Current", text);
    const std::string name = text.starts_with("./") ? text.substr(2) : text;
    const bool isThere = name == "A" || name == "B" || name == "..C";
    ASSERT_EQ(isAccepted(), std::regex_match(text, rule) && isThere) << text;
    if (!isAccepted()) continue;
    ++accepted;
    EXPECT_EQ(followed("Versions/Current"), "Versions/" + name) << text;
    EXPECT_EQ(read().current, name) << text;
    EXPECT_EQ(read().others.size(), 2U) << text;
  }
  EXPECT_EQ(accepted, 6U);
}

TEST_F(FrameworkLinks, leadFromTheRootToTheSameNameInTheCurrentVersion) {
  const Texts texts =
      joined({{"", "./", "././", "/", "../", "../Core.framework/", ".//", "Versions/../"},
              {"Versions/", "versions/", "Versions//", "Versions/./", "Versions/B/../", ""},
              {"Current", "A", "B", "..C", "current", ".", "A/../B", "A/../A", "C", ""},
              {"/Core", "/Core/", "/core", "/Other", "//Core", "/./Core", "/../A/Core", "", "\n/Core"}});
  const std::pair<const char*, const char*> currents[] = {{"A", "A"}, {"./A", R"(\./A)"}, {"..C", R"(\.\.C)"}};
  std::size_t accepted = 0;
  for (const auto& [current, pattern] : currents) {
    link("Versions/Current", current);
    const std::regex rule(R"(^(\./)?Versions/(Current|)" + std::string(pattern) + ")/Core$");
    for (const std::string& text : texts) {
      link("Core", text);
      ASSERT_EQ(isAccepted(), std::regex_match(text, rule)) << current << " and " << text;
      if (!isAccepted()) continue;
      ++accepted;
      EXPECT_EQ(followed("Core"), followed("Versions/Current") + "/Core") << current << " and " << text;
    }
  }
  EXPECT_EQ(accepted, 12U);
}

TEST_F(FrameworkLinks, mayLeadToWhatIsNotThere) {
  link("Versions/Current", "A");
  link("Headers", "Versions/Current/Headers");
  EXPECT_TRUE(isAccepted());
  link("Headers", "Versions/Current/Core");
  EXPECT_FALSE(isAccepted());
}

}  // namespace
}  // namespace brindlewick::codesign
