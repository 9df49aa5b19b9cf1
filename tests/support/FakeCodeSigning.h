#pragma once

#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "platform/CodeSigning.h"
#include "support/EventLog.h"

namespace brindlewick::testing {

/// Judges a bundle by one line in its "Contents/_CodeSignature/CodeResources": the words "valid" and "developerID"
/// where they hold, then the team. No such file, no code.
class FakeCodeSigning final : public CodeSigning {
 public:
  explicit FakeCodeSigning(EventLog& log) : log_(log) {}

  /// The nth code asked for from now on (1 is the next) is damaged, whatever lies on disk.
  void damage(int number) { damaged_ = asked_ + number; }
  /// The system refuses to read any code.
  void failReading(std::errc code = std::errc::io_error) { readingFailure_ = code; }
  /// No requirement compiles.
  void refuseRequirements() { compiles_ = false; }

  [[nodiscard]] std::unique_ptr<StaticCode> staticCode(const Path& path) override;
  [[nodiscard]] std::unique_ptr<CodeRequirement> requirement(std::string_view text) override;

 private:
  EventLog& log_;
  int asked_ = 0;
  int damaged_ = 0;
  std::optional<std::errc> readingFailure_;
  bool compiles_ = true;
};

}  // namespace brindlewick::testing
