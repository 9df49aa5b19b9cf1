#pragma once

#include <string>

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::testing {

/// The rule whose Refusal the action throws; empty when it throws none.
template <typename Action>
[[nodiscard]] std::string brokenRuleOf(const Action& action) try {
  action();
  return "";
} catch (const codesign::Refusal& refusal) {
  return refusal.what();
}

}  // namespace brindlewick::testing
