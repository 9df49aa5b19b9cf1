#include "frontend/ApplyInstall.h"

#include "frontend/ApplicationRelauncher.h"
#include "frontend/InstallResultRecord.h"
#include "install/UpdateInstaller.h"
#include "platform/Failure.h"

namespace brindlewick {
namespace {

constexpr std::string_view successMessage = "Brindlewick was updated successfully.";
constexpr std::string_view messageWithoutDescription = "The update was not installed.";

void install(const InspectionTools& tools, Clock& clock, const ApplyInstallCommand& command) {
  UpdateInstaller::apply(tools, clock,
                         {.installedApplication = command.installedApplication,
                          .stagedDirectory = command.stagedDirectory,
                          .publicKeyBase64 = command.publicKeyBase64,
                          .running = {.identifier = command.applicationIdentifier,
                                      .version = command.currentVersion,
                                      .build = command.currentBuild}},
                         command.preparationDirectory,
                         {.identifier = command.parentProcessIdentifier, .waitsForParent = true});
  InstallResultRecord{.succeeded = true, .message = std::string(successMessage), .completedAt = clock.now()}.write(
      tools.files, command.resultFile);
}

/// A failure that cannot be recorded is still answered on standard output.
void recordFailure(FileSystem& files, Clock& clock, const Path& resultFile, std::string_view message) noexcept {
  try {
    InstallResultRecord{.succeeded = false, .message = std::string(message), .completedAt = clock.now()}.write(
        files, resultFile);
  } catch (...) {
  }
}

}  // namespace

void applyInstall(const InspectionTools& tools, Clock& clock, const ApplyInstallCommand& command) {
  const auto endInFailure = [&](std::string_view message) {
    recordFailure(tools.files, clock, command.resultFile, message);
    ApplicationRelauncher::relaunch(tools.processes, command.installedApplication);
  };
  // The application that started us is about to end, and its session with it.
  tools.processes.startOwnSession();
  try {
    install(tools, clock, command);
  } catch (const DescribedError& error) {
    endInFailure(error.description());
    throw;
  } catch (...) {
    endInFailure(messageWithoutDescription);
    throw;
  }
  ApplicationRelauncher::relaunch(tools.processes, command.installedApplication);
}

}  // namespace brindlewick
