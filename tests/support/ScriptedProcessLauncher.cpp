#include "support/ScriptedProcessLauncher.h"

#include <gtest/gtest.h>

#include "platform/PlatformError.h"

namespace brindlewick::testing {
namespace {

class LoggedShield final : public SignalShield {
 public:
  explicit LoggedShield(EventLog& log) : log_(log) { log_.add("shield up"); }
  ~LoggedShield() override { log_.add("shield down"); }
  LoggedShield(const LoggedShield&) = delete;
  LoggedShield& operator=(const LoggedShield&) = delete;

 private:
  EventLog& log_;
};

}  // namespace

ToolRun ScriptedProcessLauncher::perform(const std::string& kind, const Path& executable,
                                         const std::vector<std::string>& arguments) {
  std::string event = kind + " " + executable.string();
  for (const auto& argument : arguments) event += " " + argument;
  log_.add(event);
  const auto tool = tools_.find(executable.string());
  if (tool == tools_.end()) {
    ADD_FAILURE() << "unexpected: " << event;
    failToStart(executable.string());
  }
  return tool->second(arguments);
}

ToolRun ScriptedProcessLauncher::run(const Path& executable, const std::vector<std::string>& arguments,
                                     std::size_t outputByteLimit) {
  limits_[executable.string()] = outputByteLimit;
  auto run = perform("run", executable, arguments);
  if (run.output.size() > outputByteLimit) run.exceededByteLimit = true;
  return run;
}

void ScriptedProcessLauncher::startDetached(const Path& executable, const std::vector<std::string>& arguments) {
  static_cast<void>(perform("start", executable, arguments));
}

bool ScriptedProcessLauncher::hasEnded(std::int32_t processIdentifier) {
  log_.add("hasEnded " + std::to_string(processIdentifier));
  return ended(processIdentifier);
}

std::unique_ptr<SignalShield> ScriptedProcessLauncher::shieldFromSignals() {
  return std::make_unique<LoggedShield>(log_);
}

ToolRun printed(std::string_view output) {
  const auto bytes = asBytes(output);
  return {.output = Bytes(bytes.begin(), bytes.end()), .exceededByteLimit = false, .succeeded = true};
}

ToolRun failedRun() { return {}; }

void failToStart(const std::string& executable) {
  throw PlatformError("start", executable, std::make_error_code(std::errc::no_such_file_or_directory));
}

}  // namespace brindlewick::testing
