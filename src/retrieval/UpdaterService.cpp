#include "retrieval/UpdaterService.h"

#include "platform/PlatformError.h"
#include "retrieval/ArtifactDownloadSizePolicy.h"
#include "retrieval/HTTPSCappedDownloadDelegate.h"
#include "retrieval/HTTPSOnlySessionDelegate.h"
#include "retrieval/SecureHTTPSURL.h"
#include "retrieval/UpdaterServiceError.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

using enum UpdaterServiceError;

constexpr int statusOK = 200;

HTTPSDownloadResult downloadCapped(HTTPSSession& session, const URL& url) {
  HTTPSCappedDownloadDelegate delegate;
  try {
    return session.download({.url = url, .accept = "application/zip"}, ArtifactDownloadSizePolicy::maximumByteCount,
                            delegate);
  } catch (const PlatformError&) {
    // The cancellation is our own doing; what it was for is what counts.
    if (delegate.exceededLimit()) throw Failure(artifactTooLarge);
    throw;
  }
}

/// The order is fixed: status, declared length, size on disk.
void checkDownload(FileSystem& files, const HTTPSDownloadResult& download) {
  using ArtifactDownloadSizePolicy::allows;
  const auto& [status, expectedByteCount] = download.response;
  require(status == statusOK, invalidResponse);
  require(!expectedByteCount || allows(*expectedByteCount), artifactTooLarge);
  const auto attributes = files.attributes(download.file);
  require(attributes && allows(attributes->byteCount), artifactTooLarge);
}

}  // namespace

UpdaterService::UpdaterService(FileSystem& files, HTTPSSessionFactory& sessions, const Path& stagingDirectory)
    : files_(files), session_(sessions.makeSession(std::make_shared<HTTPSOnlySessionDelegate>(), stagingDirectory)) {}

Bytes UpdaterService::fetchManifest(const URL& feedURL) {
  require(isSecureHTTPSURL(feedURL), insecureFeedURL);
  auto result = session_->data({.url = feedURL, .accept = "application/json"}, maximumManifestByteCount);
  require(result.response.status == statusOK, invalidResponse);
  require(!result.exceededByteLimit && result.body.size() <= maximumManifestByteCount, manifestTooLarge);
  return std::move(result.body);
}

Path UpdaterService::downloadArtifact(const URL& artifactURL) {
  require(isSecureHTTPSURL(artifactURL), UpdateSecurityError::insecureArtifactURL);
  const auto download = downloadCapped(*session_, artifactURL);
  try {
    checkDownload(files_, download);
  } catch (...) {
    try {
      files_.removeTree(download.file.parent());
    } catch (const PlatformError&) {
      // The first error is the one that matters.
    }
    throw;
  }
  return download.file;
}

}  // namespace brindlewick
