#pragma once

#include <cstdint>
#include <string_view>

#include "install/ApplicationIdentity.h"
#include "install/PreparedUpdate.h"
#include "platform/Clock.h"
#include "trust/UpdateManifestVerifier.h"

namespace brindlewick {

/// A staged update and the application that it is for.
struct InstallRequest {
  Path installedApplication;
  /// The directory in which the update was staged.
  Path stagedDirectory;
  std::string_view publicKeyBase64;
  /// The identifier that every bundle must have, and what the update must be newer than.
  RunningApplication running;
};

/// The application that started us.
struct ParentProcess {
  std::int32_t identifier = 0;
  bool waitsForParent = true;
  /// The command line leaves this out and relaunches after it has recorded the result.
  bool relaunchesWhenDone = false;
};

/// Turns a staged archive into a verified application, and later puts that in the place of the installed one. Every
/// step judges what lies on disk at that moment; nothing is taken over from an earlier one.
namespace UpdateInstaller {

/// Expands the archive into a fresh directory "InstallPreparation-<UUID>" (mode 0700) in the staged directory, verifies
/// the application in it and leaves a receipt (mode 0600) beside it. The installed application is only read.
///
/// Throws what re-verification of the staged update throws, then Failure<UpdateInstallError> wrongReleaseVersion for an
/// update that is not newer, then the errors of the installed application, the archive's listings, the expanded tree
/// and the candidate, and PlatformError wherever the disk refuses. A failure leaves no preparation directory.
[[nodiscard]] PreparedUpdate prepare(const InspectionTools& tools, const InstallRequest& request);

/// Verifies everything again, waits for the parent's end, verifies once more and swaps the prepared application in. Of
/// two that do so in one folder the second waits for the first (see InstallationTurn) and has nothing left to do if the
/// very application that it expects is then in its place.
/// When it throws, the previous application is in its place, except after a relaunch that failed, where the disk
/// refused every way back, or where another helper has installed the update: then a new one may be.
///
/// Throws Failure<UpdateInstallError> unsafePreparation for the preparation directory and its receipt,
/// wrongApplicationIdentity, the errors of re-verification, unsafePreparation for a receipt that contradicts the signed
/// manifest, the errors of the installed application and of the candidate, invalidCommand and parentDidNotExit, the
/// errors of the second verification, and those of the swap.
void apply(const InspectionTools& tools, Clock& clock, const InstallRequest& request, const Path& preparationDirectory,
           const ParentProcess& parent);

}  // namespace UpdateInstaller

}  // namespace brindlewick
