#pragma once

#import <Foundation/Foundation.h>

#include <string>

#include "platform/HTTPSSession.h"

namespace brindlewick {

/// What every session is made from: no cache, no cookies, no stored credentials, 30 s without a byte, 300 s altogether,
/// and an immediate error when there is no network.
[[nodiscard]] NSURLSessionConfiguration* urlSessionConfiguration();

/// A GET request. Its URL is composed of the parts that our own parser found, so that the text is not parsed a second
/// time in another way. Throws PlatformError when the framework makes no URL of them, or one that asks for something
/// else.
[[nodiscard]] NSURLRequest* urlRequest(const HTTPSRequest& request);

/// The head of a response; status 0 when there is none or it is not of HTTP.
[[nodiscard]] HTTPSResponse toResponse(NSURLResponse* response);

/// The URL of a proposed request, read by our own parser.
[[nodiscard]] std::optional<URL> toURL(NSURLRequest* request);

/// The error of a task as a PlatformError; null for none.
[[nodiscard]] std::exception_ptr toException(NSError* error, const std::string& subject);

}  // namespace brindlewick
