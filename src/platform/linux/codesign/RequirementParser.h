#pragma once

#include <string_view>

#include "platform/linux/codesign/RequirementExpression.h"

namespace brindlewick::codesign {

/// Reads one requirement to the end of its text; semicolons may follow it.
///
/// Everything is refused whose meaning is not certain, since a term that is wrongly false is a loophole below a "!":
/// terms and operators that Developer ID code has no use for (info, entitlement, platform, notarized, legacy, trusted,
/// policies and timestamps, `anchor apple` alone, order and similarity), keywords in the place of a value, and nesting
/// deeper than 64 parentheses and negations. Throws Refusal.
[[nodiscard]] Requirement::Expression parsedRequirement(std::string_view text);

}  // namespace brindlewick::codesign
