#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/ProcessLauncher.h"
#include "support/EventLog.h"

namespace brindlewick::testing {

/// Runs no process: each tool is a function of its arguments. A tool that no test has given is a failure of the test.
class ScriptedProcessLauncher final : public ProcessLauncher {
 public:
  using Tool = std::function<ToolRun(const std::vector<std::string>& arguments)>;

  explicit ScriptedProcessLauncher(EventLog& log) : log_(log) {}

  /// Gives a tool its behaviour; the output is cut by the limit that it is run with.
  void script(const std::string& executable, Tool tool) { tools_[executable] = std::move(tool); }
  /// The byte limit that a tool was last run with.
  [[nodiscard]] std::size_t limitOf(const std::string& executable) const { return limits_.at(executable); }

  /// Answers whether a process has ended; none has unless a test says so.
  std::function<bool(std::int32_t)> ended = [](std::int32_t) { return false; };

  [[nodiscard]] ToolRun run(const Path& executable, const std::vector<std::string>& arguments,
                            std::size_t outputByteLimit) override;
  void startDetached(const Path& executable, const std::vector<std::string>& arguments) override;
  [[nodiscard]] bool hasEnded(std::int32_t processIdentifier) override;
  [[nodiscard]] std::uint32_t effectiveUser() override { return 501; }
  void guardSecrets() noexcept override { log_.add("guardSecrets"); }
  void startOwnSession() override { log_.add("startOwnSession"); }
  [[nodiscard]] std::unique_ptr<SignalShield> shieldFromSignals() override;

 private:
  ToolRun perform(const std::string& kind, const Path& executable, const std::vector<std::string>& arguments);

  EventLog& log_;
  std::map<std::string, Tool> tools_;
  std::map<std::string, std::size_t> limits_;
};

/// A run that ended well with this output.
[[nodiscard]] ToolRun printed(std::string_view output);
[[nodiscard]] ToolRun failedRun();
/// The error of a tool that is not there.
[[noreturn]] void failToStart(const std::string& executable);

}  // namespace brindlewick::testing
