#include "retrieval/UpdaterService.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "platform/posix/PosixFileSystem.h"
#include "retrieval/UpdaterServiceError.h"
#include "support/Fails.h"
#include "support/TemporaryFolder.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

using enum UpdaterServiceError;
using testing::fails;
using testing::failsWith;

constexpr std::uint64_t cap = 536'870'912;

/// A network that gives one scripted answer and keeps what was asked. Without a script any request fails the test.
class ScriptedNetwork final : public HTTPSSessionFactory {
 public:
  std::function<HTTPSDataResult()> onData;
  std::function<HTTPSDownloadResult(HTTPSDownloadDelegate&)> onDownload;
  std::vector<HTTPSRequest> requests;

  std::unique_ptr<HTTPSSession> makeSession(std::shared_ptr<HTTPSSessionDelegate> delegate, const Path&) override {
    EXPECT_NE(delegate, nullptr);
    return std::make_unique<Session>(*this);
  }

 private:
  class Session final : public HTTPSSession {
   public:
    explicit Session(ScriptedNetwork& network) : network_(network) {}
    HTTPSDataResult data(const HTTPSRequest& request, std::size_t byteLimit) override {
      network_.requests.push_back(request);
      EXPECT_EQ(byteLimit, 1'048'576U);
      if (!network_.onData) ADD_FAILURE() << "unexpected request for " << request.url.string();
      return network_.onData();
    }
    HTTPSDownloadResult download(const HTTPSRequest& request, std::uint64_t byteLimit,
                                 HTTPSDownloadDelegate& delegate) override {
      network_.requests.push_back(request);
      EXPECT_EQ(byteLimit, cap);
      if (!network_.onDownload) ADD_FAILURE() << "unexpected request for " << request.url.string();
      return network_.onDownload(delegate);
    }

   private:
    ScriptedNetwork& network_;
  };
};

class UpdaterServiceTest : public ::testing::Test {
 protected:
  testing::TemporaryFolder folder;
  PosixFileSystem files;
  ScriptedNetwork network;
  URL manifestURL = URL::parse("https://feed.test/manifest.json").value();
  URL artifactURL = URL::parse("https://feed.test/a.zip").value();
  const PlatformError offline{"connect", "feed.test", std::make_error_code(std::errc::network_unreachable)};
  const PlatformError cancelled{"download", "a.zip", std::make_error_code(std::errc::operation_canceled)};

  Bytes fetch(const URL& url) { return UpdaterService(files, network, folder / "staging").fetchManifest(url); }
  Path download(const URL& url) { return UpdaterService(files, network, folder / "staging").downloadArtifact(url); }

  void answerManifest(int status, std::size_t byteCount, bool exceeded = false) {
    network.onData = [=] { return HTTPSDataResult{{status, byteCount}, Bytes(byteCount, 'm'), exceeded}; };
  }

  /// A download of a sparse file of this size in its private folder.
  void answerArtifact(int status, std::optional<std::uint64_t> declared, std::uint64_t byteCount) {
    network.onDownload = [=, this](HTTPSDownloadDelegate&) {
      const auto file = folder / "private" / "download";
      testing::writeFile(file, "");
      std::filesystem::resize_file(file.string(), byteCount);
      return HTTPSDownloadResult{{status, declared}, file};
    };
  }
};

TEST_F(UpdaterServiceTest, sendsNothingToAFeedThatIsNotSecure) {
  for (const char* text : {"http://feed.test/m", "https://u@feed.test/m", "https://u:p@feed.test/m",
                           "https://feed.test/m#f", "https:///m", "m", "ftp://feed.test/m"}) {
    EXPECT_THAT([&] { static_cast<void>(fetch(URL::parse(text).value())); }, fails(insecureFeedURL)) << text;
    EXPECT_THAT([&] { static_cast<void>(download(URL::parse(text).value())); },
                fails(UpdateSecurityError::insecureArtifactURL))
        << text;
  }
  EXPECT_TRUE(network.requests.empty());
}

TEST_F(UpdaterServiceTest, asksForJSONAndForZip) {
  answerManifest(200, 3);
  answerArtifact(200, 5, 5);
  static_cast<void>(fetch(manifestURL));
  static_cast<void>(download(artifactURL));
  ASSERT_EQ(network.requests.size(), 2U);
  EXPECT_EQ(network.requests[0].url, manifestURL);
  EXPECT_EQ(network.requests[0].accept, "application/json");
  EXPECT_EQ(network.requests[0].timeout, std::chrono::seconds(60));
  EXPECT_EQ(network.requests[1].url, artifactURL);
  EXPECT_EQ(network.requests[1].accept, "application/zip");
  EXPECT_EQ(network.requests[1].timeout, std::chrono::seconds(60));
}

TEST_F(UpdaterServiceTest, returnsAManifestUpToItsCap) {
  for (const std::size_t byteCount : {0U, 3U, 1'048'576U}) {
    answerManifest(200, byteCount);
    EXPECT_EQ(fetch(manifestURL).size(), byteCount);
  }
  answerManifest(200, 1'048'577);
  EXPECT_THAT([&] { static_cast<void>(fetch(manifestURL)); }, fails(manifestTooLarge));
  answerManifest(200, 0, true);
  EXPECT_THAT([&] { static_cast<void>(fetch(manifestURL)); }, fails(manifestTooLarge));
}

TEST_F(UpdaterServiceTest, acceptsStatus200Alone) {
  for (const int status : {0, 100, 201, 204, 206, 301, 302, 304, 400, 401, 403, 404, 500, 503}) {
    answerManifest(status, 3);
    EXPECT_THAT([&] { static_cast<void>(fetch(manifestURL)); }, fails(invalidResponse)) << status;
    answerArtifact(status, 5, 5);
    EXPECT_THAT([&] { static_cast<void>(download(artifactURL)); }, fails(invalidResponse)) << status;
    EXPECT_FALSE(testing::exists(folder / "private"));
  }
}

TEST_F(UpdaterServiceTest, judgesTheStatusBeforeTheSizes) {
  answerManifest(404, 1'048'577, true);
  EXPECT_THAT([&] { static_cast<void>(fetch(manifestURL)); }, fails(invalidResponse));
  answerArtifact(404, cap + 1, cap + 1);
  EXPECT_THAT([&] { static_cast<void>(download(artifactURL)); }, fails(invalidResponse));
}

TEST_F(UpdaterServiceTest, handsOnADownloadUpToItsCap) {
  for (const auto& declared : {std::optional<std::uint64_t>(cap), std::optional<std::uint64_t>()}) {
    answerArtifact(200, declared, cap);
    EXPECT_EQ(download(artifactURL), folder / "private" / "download");
    EXPECT_TRUE(testing::exists(folder / "private" / "download"));
  }
}

TEST_F(UpdaterServiceTest, refusesADownloadDeclaredOrFoundTooLarge) {
  answerArtifact(200, cap + 1, 5);
  EXPECT_THAT([&] { static_cast<void>(download(artifactURL)); }, fails(artifactTooLarge));
  EXPECT_FALSE(testing::exists(folder / "private"));
  answerArtifact(200, 5, cap + 1);
  EXPECT_THAT([&] { static_cast<void>(download(artifactURL)); }, fails(artifactTooLarge));
  EXPECT_FALSE(testing::exists(folder / "private"));
}

TEST_F(UpdaterServiceTest, reportsACancelledDownloadByItsReason) {
  network.onDownload = [this](HTTPSDownloadDelegate& delegate) -> HTTPSDownloadResult {
    EXPECT_FALSE(delegate.didWrite(cap + 1));
    throw cancelled;
  };
  EXPECT_THAT([&] { static_cast<void>(download(artifactURL)); }, fails(artifactTooLarge));
}

TEST_F(UpdaterServiceTest, passesOnTheErrorOfTheTransport) {
  network.onData = [this]() -> HTTPSDataResult { throw offline; };
  network.onDownload = [this](HTTPSDownloadDelegate& delegate) -> HTTPSDownloadResult {
    EXPECT_TRUE(delegate.didWrite(cap));
    throw offline;
  };
  EXPECT_THAT([&] { static_cast<void>(fetch(manifestURL)); }, failsWith(std::errc::network_unreachable));
  EXPECT_THAT([&] { static_cast<void>(download(artifactURL)); }, failsWith(std::errc::network_unreachable));
}

}  // namespace
}  // namespace brindlewick
