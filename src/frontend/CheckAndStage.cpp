#include "frontend/CheckAndStage.h"

#include "platform/NumericSystemVersion.h"
#include "platform/PlatformError.h"
#include "retrieval/UpdaterService.h"
#include "staging/UpdateInstallHandoffPolicy.h"
#include "staging/VerifiedArtifactStager.h"
#include "trust/UpdateManifestVerifier.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

using Outcome = UpdateHelperResponse::Outcome;

/// Owns the private folder of a download: whatever happens, it is gone at the end.
class DownloadedArtifact {
 public:
  DownloadedArtifact(FileSystem& files, Path file) : files_(files), file_(std::move(file)) {}
  ~DownloadedArtifact() {
    try {
      files_.removeTree(file_.parent());
    } catch (const PlatformError&) {
      // What cannot be removed must not turn a staged update into a failure.
    }
  }
  DownloadedArtifact(const DownloadedArtifact&) = delete;
  DownloadedArtifact& operator=(const DownloadedArtifact&) = delete;

  [[nodiscard]] const Path& file() const noexcept { return file_; }

 private:
  FileSystem& files_;
  Path file_;
};

bool runsOn(const NumericSystemVersion& running, const UpdateManifest& manifest) {
  // Never compared as it comes out of the parser: any version is newer than an absent one.
  const auto minimum = unwrap(NumericSystemVersion::parse(manifest.minimumSystemVersion),
                              UpdateSecurityError::invalidMinimumSystemVersion);
  return running >= minimum;
}

UpdateHelperResponse respond(Outcome outcome, const UpdateManifest& manifest, std::string_view message) {
  return {.outcome = outcome, .version = manifest.version, .build = manifest.build, .message = std::string(message)};
}

}  // namespace

UpdateHelperResponse checkAndStage(const Platform& platform, const UpdaterCommand& command) {
  using enum UpdateSecurityError;
  UpdaterService service(*platform.files, *platform.https, command.stagingDirectory);
  const auto envelope = service.fetchManifest(command.feedURL);
  const auto update = UpdateManifestVerifier::verify(
      envelope, command.publicKeyBase64,
      {.identifier = command.applicationIdentifier, .version = command.currentVersion, .build = command.currentBuild});
  const auto& manifest = update.manifest;
  if (!update.isNewer) return respond(Outcome::upToDate, manifest, "Brindlewick is up to date.");
  if (!runsOn(platform.systemVersion->running(), manifest))
    return respond(Outcome::incompatible, manifest, describe(incompatibleSystem));

  const auto artifactURL = unwrap(URL::parse(manifest.artifactURL), insecureArtifactURL);
  const DownloadedArtifact download(*platform.files, service.downloadArtifact(artifactURL));
  const auto staged = VerifiedArtifactStager::stage(*platform.files, download.file(), update, command.stagingDirectory);
  auto response = respond(Outcome::staged, manifest, UpdateInstallHandoffPolicy::stagedMessage);
  response.stagedArtifactPath = staged.artifactURL.string();
  response.receiptPath = staged.receiptURL.string();
  return response;
}

}  // namespace brindlewick
