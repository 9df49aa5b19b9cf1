#include "staging/VerifiedArtifactStager.h"

#include "platform/Failure.h"
#include "platform/PlatformError.h"
#include "platform/ReadWhole.h"
#include "platform/TextCoding.h"
#include "staging/ArtifactHasher.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

using enum UpdateSecurityError;

constexpr unsigned privateDirectory = 0700;
constexpr unsigned privateFile = 0600;

/// Opens a file and hashes what was opened: a link, or anything but a regular file, is refused.
std::string hashRegularFile(FileSystem& files, const Path& file) {
  const auto item = files.open(file, FinalLink::refused);
  require(item->attributes().kind == FileKind::regular, unsafeStagingDirectory);
  return ArtifactHasher::sha256Hex(*item);
}

/// Opens an item of a staged directory. One that is missing is as unsafe as one of another kind.
std::unique_ptr<OpenItem> openStaged(FileSystem& files, const Path& file) {
  try {
    auto item = files.open(file, FinalLink::refused);
    require(item->attributes().kind == FileKind::regular, unsafeStagingDirectory);
    return item;
  } catch (const PlatformError& error) {
    if (error.isInterruption()) throw;
    throw Failure(unsafeStagingDirectory);
  }
}

/// Makes every directory that was created durable, from `path` up to the one that was there before.
void syncCreated(FileSystem& files, const Path& path, const Path& firstExisting) {
  for (Path folder = path; folder != firstExisting; folder = folder.parent()) files.sync(folder.parent(), Extent::item);
}

void readyStagingDirectory(FileSystem& files, const Path& directory) {
  if (const auto existing = files.attributes(directory)) {
    require(existing->kind == FileKind::directory, unsafeStagingDirectory);
  } else {
    Path firstExisting = directory.parent();
    while (!files.attributes(firstExisting)) firstExisting = firstExisting.parent();
    files.createDirectories(directory, privateDirectory);
    syncCreated(files, directory, firstExisting);
  }
  files.setPermissions(directory, privateDirectory);
}

StagedUpdate fill(FileSystem& files, const Path& candidate, const Path& download, const ValidatedUpdate& update) {
  const auto& manifest = update.manifest;
  const Path archive = candidate / VerifiedArtifactStager::artifactFileName;
  files.move(download, archive);
  files.setPermissions(archive, privateFile);
  // Hashed again at its place: the first hash says nothing of what happened before the move.
  const auto hash = hashRegularFile(files, archive);
  require(hash == manifest.artifactSHA256, artifactHashMismatch);
  files.sync(archive, Extent::item);

  StagedUpdateReceipt receipt{.schemaVersion = 1,
                              .version = manifest.version,
                              .build = manifest.build,
                              .artifactFileName = std::string(archive.lastComponent()),
                              .artifactSHA256 = hash,
                              .manifestPayload = update.envelope.payload,
                              .manifestSignature = update.envelope.signature};
  const Path receiptFile = candidate / StagedUpdateReceipt::fileName;
  files.writeAtomically(receiptFile, unwrap(receipt.encode(), malformedEnvelope), privateFile);
  files.sync(candidate.parent(), Extent::item);
  return {archive, receiptFile, std::move(receipt)};
}

StagedUpdateReceipt readReceipt(FileSystem& files, const Path& file) {
  const auto item = openStaged(files, file);
  require(item->attributes().byteCount <= StagedUpdateReceipt::maximumByteCount, unsafeStagingDirectory);
  const auto content = unwrap(readWhole(*item, StagedUpdateReceipt::maximumByteCount), unsafeStagingDirectory);
  auto receipt = StagedUpdateReceipt::decode(content);
  if (!receipt) throw PlatformError("decode", file.string(), std::make_error_code(std::errc::illegal_byte_sequence));
  return *std::move(receipt);
}

}  // namespace

StagedUpdate VerifiedArtifactStager::stage(FileSystem& files, const Path& download, const ValidatedUpdate& update,
                                           const Path& stagingDirectory) {
  const auto& manifest = update.manifest;
  require(hashRegularFile(files, download) == manifest.artifactSHA256, artifactHashMismatch);
  readyStagingDirectory(files, stagingDirectory);

  const Path candidate =
      stagingDirectory / (manifest.version + "-" + std::to_string(manifest.build) + "-" + randomUUID());
  files.createDirectory(candidate, privateDirectory);
  try {
    return fill(files, candidate, download, update);
  } catch (...) {
    try {
      files.removeTree(candidate);
    } catch (const PlatformError&) {
      // The first error is the one that matters.
    }
    throw;
  }
}

ValidatedUpdate VerifiedArtifactStager::reverify(FileSystem& files, const Path& stagedDirectory,
                                                 std::string_view publicKeyBase64, const RunningApplication& running) {
  const auto directory = files.attributes(stagedDirectory);
  require(directory && directory->kind == FileKind::directory, unsafeStagingDirectory);
  const auto receipt = readReceipt(files, stagedDirectory / StagedUpdateReceipt::fileName);
  require(receipt.schemaVersion == 1 && receipt.artifactFileName == artifactFileName, malformedEnvelope);

  const auto envelope =
      unwrap(CanonicalSignedEnvelope::encode({receipt.manifestPayload, receipt.manifestSignature}), malformedEnvelope);
  auto update = UpdateManifestVerifier::verify(envelope, publicKeyBase64, running);
  const auto& manifest = update.manifest;
  require(receipt.version == manifest.version && receipt.build == manifest.build &&
              receipt.artifactSHA256 == manifest.artifactSHA256,
          invalidSignature);
  const auto hash = ArtifactHasher::sha256Hex(*openStaged(files, stagedDirectory / receipt.artifactFileName));
  require(hash == receipt.artifactSHA256, artifactHashMismatch);
  return update;
}

}  // namespace brindlewick
