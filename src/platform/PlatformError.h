#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace brindlewick {

/// A refusal by the operating system or by a platform library. It has no sentence for the user and passes through the
/// subsystems unchanged; its text is for a debugger only and is never printed.
class PlatformError : public std::runtime_error {
 public:
  PlatformError(std::string_view operation, std::string_view subject, std::error_code code)
      : std::runtime_error(std::string(operation) + " " + std::string(subject) + ": " + code.message()), code_(code) {}

  [[nodiscard]] std::error_code code() const noexcept { return code_; }

  /// Whether somebody ended this run, which says nothing of what was being looked at: whoever turns a refusal of the
  /// system into a verdict passes this one on.
  [[nodiscard]] bool isInterruption() const noexcept { return code_ == std::errc::interrupted; }

 private:
  std::error_code code_;
};

}  // namespace brindlewick
