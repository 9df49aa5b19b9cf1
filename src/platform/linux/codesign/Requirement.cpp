#include "platform/linux/codesign/Requirement.h"

#include <algorithm>
#include <array>

#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/RequirementExpression.h"
#include "platform/linux/codesign/RequirementParser.h"

namespace brindlewick::codesign {
namespace {

using Expression = Requirement::Expression;
using Operator = RequirementOperator;
using Match = RequirementMatch;

bool matches(Match match, const std::string& value, const std::string& text) {
  switch (match) {
    case Match::exists:
      return true;
    case Match::absent:
      return false;
    case Match::equal:
      return value == text;
    case Match::beginsWith:
      return value.starts_with(text);
    case Match::endsWith:
      return value.ends_with(text);
    case Match::contains:
      return value.find(text) != std::string::npos;
  }
  return false;
}

/// The last of several attributes with this key counts. A key that is not known makes the term false, even "absent".
bool subjectIsMet(const Expression& term, const Certificate& certificate) {
  constexpr std::array<std::string_view, 9> keys = {"C", "CN", "D", "L", "O", "OU", "ST", "STREET", "UID"};
  if (std::find(keys.begin(), keys.end(), term.key) == keys.end()) return false;
  const auto values = certificate.subjectValues(term.key);
  if (values.empty()) return term.match == Match::absent;
  return matches(term.match, values.back(), term.text);
}

/// A slot outside the chain makes the term false, even "absent".
const Certificate* certificateIn(std::span<const Certificate> chain, int slot) {
  const auto count = static_cast<std::ptrdiff_t>(chain.size());
  const std::ptrdiff_t index = slot < 0 ? count + slot : slot;
  return index < 0 || index >= count ? nullptr : &chain[static_cast<std::size_t>(index)];
}

bool certificateIsMet(const Expression& term, const Certificate& certificate) {
  if (term.kind == Operator::certificateHash) return certificate.sha1() == term.hash;
  if (term.kind == Operator::certificateSubject) return subjectIsMet(term, certificate);
  return certificate.hasExtension(term.key) == (term.match == Match::exists);
}

bool isMet(const Expression& expression, const RequirementSubject& subject) {
  // Every operand is evaluated, so that what fails does so whatever stands beside it.
  const auto countMet = [&] {
    return std::count_if(expression.operands.begin(), expression.operands.end(),
                         [&](const Expression& operand) { return isMet(operand, subject); });
  };
  switch (expression.kind) {
    case Operator::always:
      return true;
    case Operator::never:
      return false;
    case Operator::negation:
      return countMet() == 0;
    case Operator::conjunction:
      return countMet() == static_cast<std::ptrdiff_t>(expression.operands.size());
    case Operator::disjunction:
      return countMet() > 0;
    case Operator::identifier:
      return subject.identifier == expression.text;
    case Operator::codeHash:
      return subject.codeHash == expression.hash;
    case Operator::appleAnchor:
      return subject.isAnchored && !subject.chain.empty();
    case Operator::certificateHash:
    case Operator::certificateField:
    case Operator::certificateSubject: {
      const Certificate* certificate = certificateIn(subject.chain, expression.slot);
      return certificate != nullptr && certificateIsMet(expression, *certificate);
    }
  }
  return false;
}

}  // namespace

std::optional<Requirement> Requirement::compile(std::string_view text) {
  try {
    return Requirement(std::make_shared<const Expression>(parsedRequirement(text)));
  } catch (const Refusal&) {
    return std::nullopt;
  }
}

bool Requirement::isMetBy(const RequirementSubject& subject) const { return isMet(*expression_, subject); }

}  // namespace brindlewick::codesign
