// Whatever is given as a URL, what the rules accept has no user, no password and a host; and parsing is repeatable.

#include <cstddef>
#include <cstdint>

#include "platform/Bytes.h"
#include "retrieval/RedirectRule.h"
#include "retrieval/SecureHTTPSURL.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick;
  const auto text = asText({data, size});
  const auto url = URL::parse(text);
  if (!url) return 0;
  if (url->string() != text || URL::parse(url->string()) != url) __builtin_trap();
  const bool isPlain = !url->user() && !url->password() && url->scheme() == "https";
  if (isSecureHTTPSURL(*url) && !(isPlain && url->host() && !url->host()->empty())) __builtin_trap();
  if (RedirectRule::follows(url) != isPlain) __builtin_trap();
  if (url->host() && url->host()->find_first_of("/?#@%\\ ") != std::string::npos) __builtin_trap();
  static_cast<void>(URL::parse("https://host/a/b?c")->resolve(text));
  static_cast<void>(url->pathExtension());
  return 0;
}
