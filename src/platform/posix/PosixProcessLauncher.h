#pragma once

#include "platform/ProcessLauncher.h"

namespace brindlewick {

/// Processes by fork and exec: the usual spawn call cannot give a child its own umask.
class PosixProcessLauncher final : public ProcessLauncher {
 public:
  /// Undoes a starter's wish that ended children be forgotten (SIGCHLD ignored): how a tool ended is what counts here.
  PosixProcessLauncher();

  [[nodiscard]] ToolRun run(const Path& executable, const std::vector<std::string>& arguments,
                            std::size_t outputByteLimit) override;
  void startDetached(const Path& executable, const std::vector<std::string>& arguments) override;
  [[nodiscard]] bool hasEnded(std::int32_t processIdentifier) override;
  [[nodiscard]] std::uint32_t effectiveUser() override;
  void guardSecrets() noexcept override;
  void startOwnSession() override;
  [[nodiscard]] std::unique_ptr<SignalShield> shieldFromSignals() override;
};

}  // namespace brindlewick
