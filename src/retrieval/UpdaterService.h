#pragma once

#include <memory>

#include "platform/FileSystem.h"
#include "platform/HTTPSSession.h"

namespace brindlewick {

/// The only networking of the program: fetches a manifest and downloads an archive over one session. Interprets
/// neither.
class UpdaterService {
 public:
  static constexpr std::size_t maximumManifestByteCount = 1'048'576;

  /// `stagingDirectory` is where the download will be moved to; it need not exist yet.
  UpdaterService(FileSystem& files, HTTPSSessionFactory& sessions, const Path& stagingDirectory);

  /// The signed envelope as the feed serves it.
  ///
  /// Throws, in this order: Failure<UpdaterServiceError> insecureFeedURL before anything is sent; PlatformError of the
  /// transport; invalidResponse unless the status is 200; manifestTooLarge above 1,048,576 bytes.
  [[nodiscard]] Bytes fetchManifest(const URL& feedURL);

  /// The archive as a file in a private folder of its own, which belongs to the caller (`file.parent()`).
  ///
  /// Throws, in this order: Failure<UpdateSecurityError> insecureArtifactURL before anything is sent;
  /// Failure<UpdaterServiceError> artifactTooLarge while bytes arrive; PlatformError of the transport; invalidResponse
  /// unless the status is 200; artifactTooLarge by the declared length, then by the size on disk. No file remains.
  [[nodiscard]] Path downloadArtifact(const URL& artifactURL);

 private:
  FileSystem& files_;
  std::unique_ptr<HTTPSSession> session_;
};

}  // namespace brindlewick
