#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "unit/codesign/SigningWorld.h"

namespace brindlewick::testing {

/// One change to a good application, and what becomes of it. tests/attacks.md says what each number stands for.
struct SigningCase {
  int number;
  std::string name;
  Verdict expected;
  std::function<void(SigningWorld&)> change;
  /// For what is accepted: one byte, changed afterwards, with which it is not.
  std::function<void(SigningWorld&)> twin = {};
  Verdict twinExpected = Verdict::invalid;
};

inline std::ostream& operator<<(std::ostream& out, const SigningCase& theCase) { return out << theCase.name; }

inline std::string caseName(const ::testing::TestParamInfo<SigningCase>& info) {
  return "Case" + std::to_string(info.param.number) + "_" + info.param.name;
}

/// Runs one row of a table.
class SigningCaseTest : public ::testing::TestWithParam<SigningCase> {
 protected:
  static void run(const SigningCase& row) {
    SigningWorld world;
    row.change(world);
    EXPECT_EQ(world.judge(), row.expected);
    if (row.expected != Verdict::accepted) return;
    ASSERT_TRUE(row.twin) << "what is accepted needs a twin that is not";
    SigningWorld twin;
    row.change(twin);
    row.twin(twin);
    EXPECT_EQ(twin.judge(), row.twinExpected) << "the twin";
  }
};

// The words of the tables.
inline constexpr Verdict accepted = Verdict::accepted;
inline constexpr Verdict invalid = Verdict::invalid;
inline constexpr Verdict withoutTeam = Verdict::withoutTeam;
inline constexpr Verdict otherTeam = Verdict::otherTeam;
inline constexpr Verdict requirementUnmet = Verdict::requirementUnmet;
inline constexpr Verdict notAssessed = Verdict::notAssessed;
using World = SigningWorld;

inline void nothing(World&) {}
inline void flipsCode(World& world) { world.flipCode(0); }

}  // namespace brindlewick::testing
