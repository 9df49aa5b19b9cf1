#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "platform/AsciiText.h"
#include "support/TemporaryFolder.h"
#include "unit/plist/PropertyListDump.h"

namespace brindlewick::testing {
namespace {

using ::testing::IsSupersetOf;
using ::testing::StartsWith;

struct Row {
  std::string content;
  std::string verdict;  ///< of Core Foundation: "refused", or the list
  std::string rule;     ///< by which this program refuses what Core Foundation reads; empty: the two agree
};

std::vector<Row> rows() {
  const std::string table = readFile(Path(std::string(BRINDLEWICK_TEST_DATA) + "/property_lists/core_foundation.txt"));
  std::vector<Row> rows;
  for (const auto line : split(table, '\n')) {
    if (line.empty() || line.starts_with('#')) continue;
    const auto columns = split(line, '\t');
    rows.push_back(
        {unescaped(columns.at(0)), std::string(columns.at(1)), std::string(columns.size() > 2 ? columns[2] : "")});
  }
  return rows;
}

TEST(CoreFoundationVerdicts, areOursButForTheListedRules) {
  for (const auto& [content, verdict, rule] : rows()) {
    const std::string ours = verdictOn(content);
    if (verdict == "refused")
      EXPECT_THAT(ours, StartsWith("(")) << escaped(content);
    else
      EXPECT_EQ(ours, rule.empty() ? verdict : rule) << escaped(content);
  }
}

TEST(CoreFoundationVerdicts, holdAnExampleOfEveryRule) {
  std::set<std::string> rules;
  for (const auto& row : rows()) rules.insert(row.rule);
  // Those without an example are limits of size.
  EXPECT_THAT(rules, IsSupersetOf({"(noDictionary)", "(otherEncoding)", "(textWithNUL)", "(illFormedText)",
                                   "(foreignNumber)", "(integerBeyond64Bits)", "(wideNumber)", "(repeatedKey)",
                                   "(keyOfOtherKind)", "(kindOfOtherFormats)", "(listInsideList)"}));
}

TEST(CoreFoundationVerdicts, neverCallWellReadWhatIsMalformedHere) {
  for (const auto& row : rows()) EXPECT_NE(row.rule, "(malformed)") << escaped(row.content);
}

}  // namespace
}  // namespace brindlewick::testing
