#import "platform/macos/URLSessionSettings.h"

#include "platform/FrameworkError.h"
#include "platform/PlatformError.h"
#include "platform/RequestTarget.h"

namespace brindlewick {
namespace {

constexpr auto sessionCachePolicy = NSURLRequestReloadIgnoringLocalAndRemoteCacheData;
constexpr auto requestCachePolicy = NSURLRequestUseProtocolCachePolicy;
static_assert(sessionCachePolicy == 4 && requestCachePolicy == 0);

NSString* toString(const std::string& text) { return [NSString stringWithUTF8String:text.c_str()]; }

std::optional<URL> parsed(NSURL* url) {
  const char* const text = url.absoluteString.UTF8String;
  return text == nullptr ? std::nullopt : URL::parse(text);
}

/// Nil when the framework refuses a part.
NSURL* compose(const RequestTarget& target) {
  @try {
    auto* const parts = [[NSURLComponents alloc] init];
    parts.scheme = toString(target.scheme);
    parts.percentEncodedHost = toString(target.host);
    if (target.port) parts.port = @(*target.port);
    parts.percentEncodedPath = toString(target.path);
    if (target.query) parts.percentEncodedQuery = toString(*target.query);
    return parts.URL;
  } @catch (NSException*) {
    return nil;
  }
}

}  // namespace

NSURLSessionConfiguration* urlSessionConfiguration() {
  auto* const configuration = NSURLSessionConfiguration.ephemeralSessionConfiguration;
  configuration.requestCachePolicy = sessionCachePolicy;
  configuration.URLCache = nil;
  configuration.HTTPCookieStorage = nil;
  configuration.URLCredentialStorage = nil;
  configuration.timeoutIntervalForRequest = 30;
  configuration.timeoutIntervalForResource = 300;
  configuration.waitsForConnectivity = NO;
  return configuration;
}

NSURLRequest* urlRequest(const HTTPSRequest& request) {
  const auto target = RequestTarget::of(request.url);
  auto* const url = target ? compose(*target) : nil;
  // Whatever the framework made of the parts, only what was checked is asked for.
  if (url == nil || !target->isAskedBy(parsed(url)))
    throw PlatformError("request", request.url.string(), frameworkErrorCode("NSURLErrorDomain", NSURLErrorBadURL));
  const auto timeout = std::chrono::duration<NSTimeInterval>(request.timeout).count();
  auto* const made = [NSMutableURLRequest requestWithURL:url cachePolicy:requestCachePolicy timeoutInterval:timeout];
  made.HTTPMethod = @"GET";
  [made setValue:toString(request.accept) forHTTPHeaderField:@"Accept"];
  return made;
}

HTTPSResponse toResponse(NSURLResponse* response) {
  if (![response isKindOfClass:NSHTTPURLResponse.class]) return {};
  auto* const http = static_cast<NSHTTPURLResponse*>(response);
  return {.status = static_cast<int>(http.statusCode),
          .expectedByteCount = declaredByteCount(http.expectedContentLength)};
}

std::optional<URL> toURL(NSURLRequest* request) { return parsed(request.URL); }

std::exception_ptr toException(NSError* error, const std::string& subject) {
  if (error == nil) return nullptr;
  const char* const domain = error.domain.UTF8String;
  return std::make_exception_ptr(PlatformError(
      "request", subject, frameworkErrorCode(domain == nullptr ? "" : domain, static_cast<int>(error.code))));
}

}  // namespace brindlewick
