// Whatever the text of a requirement, it compiles or not, and what compiles can be asked: of code without certificates,
// which meets nothing that asks for one.

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/linux/codesign/Requirement.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick::codesign;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const RequirementSubject subject{
      .identifier = "com.brindlewick.app", .codeHash = {}, .chain = {}, .isAnchored = true};
  const auto requirement = Requirement::compile(text);
  const auto negated = Requirement::compile("!(" + text + "\n)");
  if (!requirement) return 0;
  // The parentheses may be one level too many, or there were semicolons.
  if (negated && requirement->isMetBy(subject) == negated->isMetBy(subject)) __builtin_trap();
  const auto anchored = Requirement::compile("anchor apple generic and (" + text + "\n)");
  if (anchored && anchored->isMetBy(subject)) __builtin_trap();
  return 0;
}
