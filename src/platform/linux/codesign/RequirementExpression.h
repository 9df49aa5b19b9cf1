#pragma once

#include <string>
#include <vector>

#include "platform/linux/codesign/CodeHash.h"
#include "platform/linux/codesign/Requirement.h"

namespace brindlewick::codesign {

enum class RequirementOperator {
  always,
  never,
  negation,           ///< of the one operand
  conjunction,        ///< of all operands
  disjunction,        ///< of all operands
  identifier,         ///< equal to `text`
  codeHash,           ///< equal to `hash`
  appleAnchor,        ///< the chain ends in a root of Apple
  certificateHash,    ///< SHA-1 of the certificate in `slot`, equal to `hash`
  certificateField,   ///< the certificate in `slot` has, or has not, the extension whose OID is `key`
  certificateSubject  ///< the certificate in `slot` has, has not, or has as its last attribute `key`, ...
};

/// How the value of a certificate is compared with a text.
enum class RequirementMatch { exists, absent, equal, beginsWith, endsWith, contains };

/// One term of a requirement.
struct Requirement::Expression {
  RequirementOperator kind = RequirementOperator::never;
  std::vector<Expression> operands = {};
  int slot = 0;  ///< from the leaf, 0 and up; from the root, -1 and down
  RequirementMatch match = RequirementMatch::exists;
  std::string key = {};
  std::string text = {};
  CDHash hash{};
};

}  // namespace brindlewick::codesign
