#include "install/ApplicationSwap.h"
#include "install/InstallPreparationReceipt.h"
#include "install/InstallationTurn.h"
#include "install/ParentProcessWait.h"
#include "install/ToolRunner.h"
#include "install/UpdateInstallError.h"
#include "install/UpdateInstaller.h"
#include "install/UpdateLayout.h"
#include "platform/PlatformError.h"
#include "platform/ReadWhole.h"
#include "staging/VerifiedArtifactStager.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;

constexpr std::size_t maximumToolOutputByteCount = 1'048'576;

bool isPreparationDirectory(FileSystem& files, const Path& directory, const Path& stagedDirectory) {
  if (!directory.isDirectlyIn(stagedDirectory)) return false;
  if (!directory.lastComponent().starts_with(UpdateLayout::preparationPrefix)) return false;
  const auto attributes = files.attributes(directory);
  return attributes && attributes->kind == FileKind::directory;
}

InstallPreparationReceipt readReceipt(FileSystem& files, const Path& file) {
  const auto item = files.open(file, FinalLink::refused);
  const auto& attributes = item->attributes();
  require(attributes.kind == FileKind::regular, unsafePreparation);
  require(attributes.byteCount <= InstallPreparationReceipt::maximumByteCount, unsafePreparation);
  const auto content = unwrap(readWhole(*item, InstallPreparationReceipt::maximumByteCount), unsafePreparation);
  auto receipt = unwrap(InstallPreparationReceipt::decode(content), unsafePreparation);
  require(receipt.schemaVersion == 1, unsafePreparation);
  return receipt;
}

/// The receipt of a preparation directory that is in its place.
InstallPreparationReceipt checkPreparation(FileSystem& files, const Path& directory, const Path& stagedDirectory) try {
  require(isPreparationDirectory(files, directory, stagedDirectory), unsafePreparation);
  return readReceipt(files, directory / InstallPreparationReceipt::fileName);
} catch (const PlatformError& error) {
  if (error.isInterruption()) throw;
  throw Failure(unsafePreparation);
}

void requireAgreement(const InstallPreparationReceipt& receipt, const ValidatedUpdate& update) {
  const auto& manifest = update.manifest;
  require(update.isNewer, unsafePreparation);
  require(receipt.version == manifest.version && receipt.build == manifest.build, unsafePreparation);
  require(receipt.artifactSHA256 == manifest.artifactSHA256, unsafePreparation);
  require(receipt.candidateDirectoryName == UpdateLayout::bundleName, unsafePreparation);
}

/// Whether another helper, started for the same update, has just done what this one is to do. It has used up the
/// candidate then, and the record would speak of a failure.
bool isInPlace(const InspectionTools& tools, const Path& application, const ExpectedApplication& expected) {
  try {
    static_cast<void>(ApplicationIdentity::verify(tools, application, expected));
    return true;
  } catch (const Failure<UpdateInstallError>&) {
    return false;
  } catch (const PlatformError& error) {
    if (error.isInterruption()) throw;
    return false;
  }
}

void relaunch(ProcessLauncher& processes, const Path& application) {
  static_cast<void>(
      ToolRunner::run(processes, Path("/usr/bin/open"), {"-a", application.string()}, maximumToolOutputByteCount));
}

}  // namespace

void UpdateInstaller::apply(const InspectionTools& tools, Clock& clock, const InstallRequest& request,
                            const Path& preparationDirectory, const ParentProcess& parent) {
  auto& files = tools.files;
  const auto directory = preparationDirectory.standardized();
  const auto stagedDirectory = request.stagedDirectory.standardized();
  const std::string identifier(request.running.identifier);
  const auto reverify = [&] {
    return VerifiedArtifactStager::reverify(files, stagedDirectory, request.publicKeyBase64, request.running);
  };

  const auto receipt = checkPreparation(files, directory, stagedDirectory);
  require(receipt.applicationIdentifier == identifier, wrongApplicationIdentity);
  const auto update = reverify();
  requireAgreement(receipt, update);
  const auto candidate = directory / UpdateLayout::bundleName;
  const auto installed = ApplicationIdentity::verify(tools, request.installedApplication, {.identifier = identifier});
  const ExpectedApplication expected{.identifier = identifier,
                                     .version = update.manifest.version,
                                     .build = update.manifest.build,
                                     .teamIdentifier = installed.teamIdentifier,
                                     .isAssessed = true};
  static_cast<void>(ApplicationIdentity::verify(tools, candidate, expected));

  const auto deadline = clock.steadyNow() + ParentProcessWait::patience;
  if (parent.waitsForParent) ParentProcessWait::wait(tools.processes, clock, parent.identifier);
  const auto turn = InstallationTurn::await(files, clock, request.installedApplication.parent(), deadline);
  // Who waited, or finds the candidate used up, may have nothing left to do.
  const bool mayBeDone = turn.hasWaited || !files.attributes(candidate);
  if (!mayBeDone || !isInPlace(tools, request.installedApplication, expected)) {
    // The wait gave everybody time: what was verified before it counts no more.
    static_cast<void>(reverify());
    static_cast<void>(ApplicationIdentity::verify(tools, candidate, expected));
    ApplicationSwap::replace(tools, request.installedApplication, candidate, expected);
  }
  try {
    files.removeTree(directory);
  } catch (const PlatformError&) {
    // The new application is in its place; what is left over here harms nobody.
  }
  if (parent.relaunchesWhenDone) relaunch(tools.processes, request.installedApplication);
}

}  // namespace brindlewick
