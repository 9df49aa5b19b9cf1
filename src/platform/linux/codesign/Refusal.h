#pragma once

#include <exception>

namespace brindlewick::codesign {

/// Why code is not accepted: one rule, in words for a debugger and a test. Nobody prints it and nobody compares it; the
/// outside learns "not valid".
class Refusal final : public std::exception {
 public:
  explicit Refusal(const char* rule) noexcept : rule_(rule) {}
  [[nodiscard]] const char* what() const noexcept override { return rule_; }

 private:
  const char* rule_;
};

/// Throws unless the rule holds. `rule` is a literal.
inline void require(bool holds, const char* rule) {
  if (!holds) throw Refusal(rule);
}

}  // namespace brindlewick::codesign
