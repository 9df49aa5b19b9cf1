#import "platform/macos/URLSessionSettings.h"

#include <gmock/gmock.h>

#include "platform/PlatformError.h"

namespace brindlewick {
namespace {

NSURLRequest* made(const std::string& url) {
  return urlRequest({.url = *URL::parse(url), .accept = "application/json"});
}

TEST(URLSessionConfiguration, keepsNothingAndWaitsForNothing) {
  auto* const configuration = urlSessionConfiguration();
  EXPECT_EQ(configuration.requestCachePolicy, NSURLRequestReloadIgnoringLocalAndRemoteCacheData);
  EXPECT_EQ(configuration.URLCache, nil);
  EXPECT_EQ(configuration.HTTPCookieStorage, nil);
  EXPECT_EQ(configuration.URLCredentialStorage, nil);
  EXPECT_EQ(configuration.timeoutIntervalForRequest, 30);
  EXPECT_EQ(configuration.timeoutIntervalForResource, 300);
  EXPECT_FALSE(configuration.waitsForConnectivity);
}

TEST(URLSessionRequest, isAGetWithItsOwnTimeoutAndHeader) {
  auto* const request = made("https://updates.example/manifest.json");
  EXPECT_EQ(request.cachePolicy, NSURLRequestUseProtocolCachePolicy);
  EXPECT_EQ(request.timeoutInterval, 60);
  EXPECT_STREQ(request.HTTPMethod.UTF8String, "GET");
  EXPECT_STREQ([request valueForHTTPHeaderField:@"Accept"].UTF8String, "application/json");
}

TEST(URLSessionRequest, hasExactlyThePartsThatWereChecked) {
  EXPECT_STREQ(made("https://updates.example:8443/a%20b/../c.zip?q=%2F").URL.absoluteString.UTF8String,
               "https://updates.example:8443/a%20b/../c.zip?q=%2F");
  EXPECT_STREQ(made("https://updates.example").URL.absoluteString.UTF8String, "https://updates.example/");
  EXPECT_STREQ(made("https://[::1]:1/").URL.absoluteString.UTF8String, "https://[::1]:1/");
}

TEST(URLSessionRequest, asksForEveryEscapeAsItWasWritten) {
  for (const char* url :
       {"https://h.example/a%2Fb/%E4?x=%2F", "https://h.example/a%2fb/%e4?x=%2f", "https://h.example/%61?",
        "https://h.example//a/./b/%2E?/?", "https://h.example/-._~!$&'()*+,;=:@"})
    EXPECT_STREQ(made(url).URL.absoluteString.UTF8String, url);
}

TEST(URLSessionRequest, isNotMadeOfAHostWithAnEscape) {
  EXPECT_THROW(made("https://ex%61mple.example/"), PlatformError);
}

TEST(URLSessionRequest, isNotMadeOfAPortThatIsNone) {
  EXPECT_THROW(made("https://updates.example:99999999999/"), PlatformError);
}

TEST(URLSessionResponse, hasStatusZeroUnlessItIsOfHTTP) {
  auto* const url = [NSURL URLWithString:@"https://updates.example/"];
  auto* const plain = [[NSURLResponse alloc] initWithURL:url MIMEType:nil expectedContentLength:5 textEncodingName:nil];
  EXPECT_EQ(toResponse(nil).status, 0);
  EXPECT_EQ(toResponse(plain).status, 0);
}

TEST(URLSessionRedirect, isReadByOurOwnParser) {
  EXPECT_EQ(toURL([NSURLRequest requestWithURL:[NSURL URLWithString:@"https://a.example/b"]])->string(),
            "https://a.example/b");
  EXPECT_EQ(toURL([[NSMutableURLRequest alloc] init]), std::nullopt);
}

TEST(URLSessionError, keepsItsNumber) {
  EXPECT_EQ(toException(nil, "x"), nullptr);
  auto* const error = [NSError errorWithDomain:NSURLErrorDomain code:NSURLErrorTimedOut userInfo:nil];
  try {
    std::rethrow_exception(toException(error, "https://updates.example/"));
  } catch (const PlatformError& thrown) {
    EXPECT_EQ(thrown.code().value(), -1001);
    EXPECT_EQ(thrown.code(), std::errc::timed_out);
  }
}

}  // namespace
}  // namespace brindlewick
