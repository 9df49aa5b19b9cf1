#include "platform/macos/URLSessionHTTPSSession.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "platform/PlatformError.h"
#include "platform/posix/ChildProcess.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "retrieval/HTTPSOnlySessionDelegate.h"
#include "support/Fails.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::failsWith;
using ::testing::HasSubstr;
using testing::LoopbackServer;
using ::testing::Property;
using testing::response;
using ::testing::Throws;

// Numbers of NSURLError.h.
constexpr int cannotConnect = -1004;
constexpr int secureConnectionFailed = -1200;
constexpr int certificateUntrusted = -1202;

std::string httpsURL(const std::string& host, std::uint16_t port) {
  return "https://" + host + ":" + std::to_string(port) + "/";
}

auto failsWithCode(int code) {
  return Throws<PlatformError>(Property(&PlatformError::code, Property(&std::error_code::value, code)));
}

/// The rule of a session that leads where it is told, also without TLS, so that a server without a certificate will do.
struct FollowsAll final : HTTPSSessionDelegate {
  bool followsRedirect(const std::optional<URL>&) override { return true; }
};

/// A download that is cancelled after some bytes.
struct Capped final : HTTPSDownloadDelegate {
  explicit Capped(std::uint64_t bytes) : cap(bytes) {}
  bool followsRedirect(const std::optional<URL>& proposed) override { return proposed.has_value(); }
  bool didWrite(std::uint64_t total) override { return total <= cap; }
  std::uint64_t cap;
};

/// A rule that breaks as soon as it is asked.
struct Broken final : HTTPSDownloadDelegate {
  [[noreturn]] static void fail() {
    throw PlatformError("decide", "a rule", std::make_error_code(std::errc::not_enough_memory));
  }
  bool followsRedirect(const std::optional<URL>&) override { fail(); }
  bool didWrite(std::uint64_t) override { fail(); }
};

class URLSessionTest : public ::testing::Test {
 protected:
  std::unique_ptr<HTTPSSession> session(std::shared_ptr<HTTPSSessionDelegate> rule = std::make_shared<FollowsAll>()) {
    return URLSessionHTTPSSessionFactory(files).makeSession(std::move(rule), folder / "staging");
  }
  static HTTPSRequest request(const std::string& url) { return {.url = *URL::parse(url), .accept = "application/zip"}; }

  testing::TemporaryFolder folder;
  PosixFileSystem files;
};

TEST_F(URLSessionTest, fetchesABodyWithTheRequestedHeaders) {
  const LoopbackServer server([](const std::string&) { return response(200, "manifest"); });
  const auto result = session()->data(request(server.url("/a%20b?q=1")), 100);
  EXPECT_EQ(result.response.status, 200);
  EXPECT_EQ(result.response.expectedByteCount, 8U);
  EXPECT_EQ(asText(result.body), "manifest");
  EXPECT_FALSE(result.exceededByteLimit);
  ASSERT_EQ(server.requests().size(), 1U);
  EXPECT_THAT(server.requests()[0], ::testing::StartsWith("GET /a%20b?q=1 HTTP/1.1\r\n"));
  EXPECT_THAT(server.requests()[0], HasSubstr("Accept: application/zip\r\n"));
}

TEST_F(URLSessionTest, stopsAtTheLimitOfABody) {
  const LoopbackServer server([](const std::string& head) {
    const auto whole = response(200, std::string(1000, 'x'));
    return head.starts_with("GET /undeclared") ? "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + std::string(1000, 'x')
                                               : whole;
  });
  for (const char* path : {"/declared", "/undeclared"}) {
    const auto result = session()->data(request(server.url(path)), 999);
    EXPECT_EQ(result.response.status, 200) << path;
    EXPECT_TRUE(result.exceededByteLimit) << path;
    EXPECT_FALSE(session()->data(request(server.url(path)), 1000).exceededByteLimit) << path;
  }
}

TEST_F(URLSessionTest, keepsNoCookie) {
  const LoopbackServer server([](const std::string&) { return response(200, "", "Set-Cookie: id=1; Path=/\r\n"); });
  const auto one = session();
  for (int i = 0; i < 2; ++i) static_cast<void>(one->data(request(server.url("/")), 10));
  ASSERT_EQ(server.requests().size(), 2U);
  EXPECT_THAT(server.requests()[1], ::testing::Not(HasSubstr("Cookie")));
}

TEST_F(URLSessionTest, followsARedirectOnlyIfTheRuleDoes) {
  const LoopbackServer server([](const std::string& head) {
    return head.starts_with("GET /from") ? response(302, "", "Location: /to\r\n") : response(200, "there");
  });
  EXPECT_EQ(asText(session()->data(request(server.url("/from")), 10).body), "there");
  const auto refused = session(std::make_shared<HTTPSOnlySessionDelegate>())->data(request(server.url("/from")), 10);
  EXPECT_EQ(refused.response.status, 302);
}

TEST_F(URLSessionTest, asksForTheTextOfAURLOnEveryHop) {
  const LoopbackServer server([](const std::string& head) {
    return head.starts_with("GET /from") ? response(302, "", "Location: /to%2Fb/%61/%E4%e4?%2F%2f\r\n")
                                         : response(200, "there");
  });
  EXPECT_EQ(asText(session()->data(request(server.url("/from%2Fb/%61?%2f%2F")), 10).body), "there");
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_THAT(requests[0], ::testing::StartsWith("GET /from%2Fb/%61?%2f%2F HTTP/1.1\r\n"));
  EXPECT_THAT(requests[1], ::testing::StartsWith("GET /to%2Fb/%61/%E4%e4?%2F%2f HTTP/1.1\r\n"));
}

TEST_F(URLSessionTest, takesADownloadIntoAPrivateFolder) {
  const std::string archive(300'000, 'z');
  const LoopbackServer server([&](const std::string&) { return response(200, archive); });
  Capped delegate(archive.size());
  const auto result = session()->download(request(server.url("/a.zip")), archive.size(), delegate);
  EXPECT_EQ(result.response.status, 200);
  EXPECT_EQ(testing::readFile(result.file), archive);
  EXPECT_EQ(testing::permissionsOf(result.file), 0600U);
  EXPECT_EQ(testing::permissionsOf(result.file.parent()), 0700U);
  files.removeTree(result.file.parent());
}

TEST_F(URLSessionTest, cancelsADownloadThatItsDelegateWantsNoMoreOf) {
  const LoopbackServer server([](const std::string&) { return response(200, std::string(4'000'000, 'z')); });
  Capped delegate(1000);
  EXPECT_THAT([&] { static_cast<void>(session()->download(request(server.url("/a.zip")), 1000, delegate)); },
              failsWith(std::errc::operation_canceled));
}

TEST_F(URLSessionTest, endsATaskWhoseDelegateThrows) {
  const LoopbackServer server([](const std::string& head) {
    return head.starts_with("GET /from") ? response(302, "", "Location: /to\r\n")
                                         : response(200, std::string(100'000, 'z'));
  });
  Broken broken;
  for (const char* path : {"/from", "/to"})
    EXPECT_THAT([&] { static_cast<void>(session()->download(request(server.url(path)), 1'000'000, broken)); },
                failsWith(std::errc::not_enough_memory))
        << path;
  // The delegate of a whole session belongs to no task that could pass its error on.
  const auto whole = session(std::make_shared<Broken>());
  EXPECT_THAT([&] { static_cast<void>(whole->data(request(server.url("/from")), 10)); },
              failsWith(std::errc::operation_canceled));
}

TEST_F(URLSessionTest, passesOnTheErrorOfAConnectionThatIsRefused) {
  const auto port = testing::Listener::make().port;  // and closed again
  EXPECT_THAT([&] { static_cast<void>(session()->data(request(httpsURL("127.0.0.1", port)), 10)); },
              failsWithCode(cannotConnect));
}

TEST_F(URLSessionTest, refusesAServerThatSpeaksNoTLS) {
  // It closes only after the client: to close over what has not been read may discard the answer on its way.
  const testing::LoopbackListener server([](int connection) {
    testing::receive(connection, [](const std::string& hello) { return !hello.empty(); });
    testing::sendAll(connection, "no TLS here\r\n");
    testing::receive(connection);
  });
  EXPECT_THAT([&] { static_cast<void>(session()->data(request(httpsURL("127.0.0.1", server.port())), 10)); },
              failsWithCode(secureConnectionFailed));
}

TEST_F(URLSessionTest, refusesACertificateThatNobodyTrusts) {
  const auto key = (folder / "key.pem").string(), certificate = (folder / "certificate.pem").string();
  const Path openssl("/usr/bin/openssl");
  ASSERT_TRUE(PosixProcessLauncher()
                  .run(openssl,
                       {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "30", "-subj", "/CN=localhost",
                        "-keyout", key, "-out", certificate},
                       65'536)
                  .succeeded);
  const auto port = testing::Listener::make().port;
  const posix::ChildProcess server(
      openssl, {"s_server", "-quiet", "-www", "-accept", std::to_string(port), "-key", key, "-cert", certificate}, -1,
      posix::ChildSession::ours);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!testing::connectToLoopback(port) && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  EXPECT_THAT([&] { static_cast<void>(session()->data(request(httpsURL("localhost", port)), 10)); },
              failsWithCode(certificateUntrusted));
}

}  // namespace
}  // namespace brindlewick
