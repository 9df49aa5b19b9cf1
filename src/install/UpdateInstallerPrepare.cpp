#include "install/ArchiveListing.h"
#include "install/ExpandedTree.h"
#include "install/InstallPreparationReceipt.h"
#include "install/ToolRunner.h"
#include "install/UpdateInstallError.h"
#include "install/UpdateInstaller.h"
#include "install/UpdateLayout.h"
#include "platform/PlatformError.h"
#include "platform/TextCoding.h"
#include "staging/VerifiedArtifactStager.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;

constexpr std::size_t maximumToolOutputByteCount = 1'048'576;
constexpr unsigned privateDirectory = 0700;
constexpr unsigned privateFile = 0600;

void expand(ProcessLauncher& processes, const Path& archive, const Path& directory) {
  static_cast<void>(ToolRunner::run(processes, Path("/usr/bin/ditto"),
                                    {"-x", "-k", archive.string(), directory.string()}, maximumToolOutputByteCount));
}

Path writeReceipt(FileSystem& files, const Path& directory, const std::string_view identifier,
                  const UpdateManifest& manifest) {
  const InstallPreparationReceipt receipt{.schemaVersion = 1,
                                          .applicationIdentifier = std::string(identifier),
                                          .version = manifest.version,
                                          .build = manifest.build,
                                          .artifactSHA256 = manifest.artifactSHA256,
                                          .candidateDirectoryName = std::string(UpdateLayout::bundleName)};
  auto file = directory / InstallPreparationReceipt::fileName;
  files.writeAtomically(file, unwrap(receipt.encode(), invalidCommand), privateFile);
  return file;
}

PreparedUpdate fill(const InspectionTools& tools, const Path& directory, const Path& archive,
                    const UpdateManifest& manifest, const VerifiedApplicationIdentity& installed) {
  expand(tools.processes, archive, directory);
  const auto candidate = directory / UpdateLayout::bundleName;
  ExpandedTree::check(tools.files, directory, candidate);
  const auto identity = ApplicationIdentity::verify(tools, candidate,
                                                    {.identifier = installed.bundleIdentifier,
                                                     .version = manifest.version,
                                                     .build = manifest.build,
                                                     .teamIdentifier = installed.teamIdentifier,
                                                     .isAssessed = true});
  require(identity.teamIdentifier == installed.teamIdentifier, wrongSigningTeam);
  auto receipt = writeReceipt(tools.files, directory, identity.bundleIdentifier, manifest);
  return {directory, candidate, std::move(receipt), identity.version, identity.build};
}

}  // namespace

PreparedUpdate UpdateInstaller::prepare(const InspectionTools& tools, const InstallRequest& request) {
  auto& files = tools.files;
  const auto update =
      VerifiedArtifactStager::reverify(files, request.stagedDirectory, request.publicKeyBase64, request.running);
  require(update.isNewer, wrongReleaseVersion);
  const auto installed = ApplicationIdentity::verify(tools, request.installedApplication,
                                                     {.identifier = std::string(request.running.identifier)});
  const auto archive = request.stagedDirectory / VerifiedArtifactStager::artifactFileName;
  ArchiveListing::check(tools.processes, archive);

  const auto directory = request.stagedDirectory / (std::string(UpdateLayout::preparationPrefix) + randomUUID());
  files.createDirectory(directory, privateDirectory);
  try {
    return fill(tools, directory, archive, update.manifest, installed);
  } catch (...) {
    try {
      files.removeTree(directory);
    } catch (const PlatformError&) {
      // The first error is the one that matters.
    }
    throw;
  }
}

}  // namespace brindlewick
