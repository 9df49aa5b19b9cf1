#pragma once

#include <curl/curl.h>

#include <string_view>

namespace brindlewick::curl {

/// Throws PlatformError with the transport's own code.
[[noreturn]] void throwError(std::string_view operation, std::string_view subject, CURLcode code);

/// Throws unless the call went well.
void check(CURLcode code, std::string_view operation, std::string_view subject);

}  // namespace brindlewick::curl
