#include <gmock/gmock.h>

#include <cstdlib>

#include "platform/macos/URLSessionHTTPSSession.h"
#include "platform/posix/PosixFileSystem.h"
#include "retrieval/UpdaterService.h"
#include "retrieval/UpdaterServiceError.h"
#include "support/Fails.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::fails;

/// The service over the shipped adapter, against a server with a certificate that this machine trusts.
/// with_https_server says how it answers each path, and runs this program with its port.
class TrustedLoopbackTest : public ::testing::Test {
 protected:
  static URL url(const std::string& path) {
    const char* const port = std::getenv("BRINDLEWICK_LOOPBACK_PORT");
    return URL::parse(std::string("https://localhost:") + (port == nullptr ? "0" : port) + path).value();
  }

  testing::TemporaryFolder folder;
  PosixFileSystem files;
  URLSessionHTTPSSessionFactory sessions{files};
  UpdaterService service{files, sessions, folder / "staging"};
};

TEST_F(TrustedLoopbackTest, fetchesAManifestOverTLS) {
  EXPECT_EQ(asText(service.fetchManifest(url("/request.txt?q=%2F"))), "GET /request.txt?q=%2F application/json");
}

TEST_F(TrustedLoopbackTest, downloadsAnArchiveOverTLS) {
  const auto archive = service.downloadArtifact(url("/archive.zip"));
  EXPECT_EQ(testing::readFile(archive), std::string(300'000, 'z'));
  EXPECT_EQ(testing::permissionsOf(archive), 0600U);
  files.removeTree(archive.parent());
}

TEST_F(TrustedLoopbackTest, followsARedirectWithinHTTPS) {
  EXPECT_EQ(asText(service.fetchManifest(url("/to-https"))), "GET /request.txt application/json");
  const auto request = service.downloadArtifact(url("/to-https"));
  EXPECT_EQ(testing::readFile(request), "GET /request.txt application/zip");
  files.removeTree(request.parent());
}

TEST_F(TrustedLoopbackTest, followsNoRedirectThatLeavesHTTPS) {
  EXPECT_THAT([&] { static_cast<void>(service.fetchManifest(url("/to-http"))); },
              fails(UpdaterServiceError::invalidResponse));
  EXPECT_THAT([&] { static_cast<void>(service.downloadArtifact(url("/to-http"))); },
              fails(UpdaterServiceError::invalidResponse));
}

}  // namespace
}  // namespace brindlewick
