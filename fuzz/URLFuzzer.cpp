// Whatever is given as a URL: its parts put together are the text, what it resolves to is read as what it was meant to
// be, what the rules accept has no user, no password and a host, and what is asked for fits into a request line.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "platform/Bytes.h"
#include "platform/RequestTarget.h"
#include "retrieval/RedirectRule.h"
#include "retrieval/SecureHTTPSURL.h"

namespace {

using namespace brindlewick;

void require(bool condition) {
  if (!condition) __builtin_trap();
}

bool isVisible(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c > ' ' && c < '\x7f'; });
}

std::size_t percentSigns(std::string_view text) { return static_cast<std::size_t>(std::ranges::count(text, '%')); }

void checkParts(const URL& url, std::string_view text) {
  require(url.string() == text && url.components().composed() == text && isVisible(text));
  require(URL::parse(url.string()) == url);
  require(!url.password() || url.user());
  require(!url.host() || url.host()->find_first_of("/?#@\\ ") == std::string::npos);
  require(url.components().authority || !url.path().starts_with("//"));
}

void checkRules(const URL& url) {
  const bool isPlain = !url.user() && !url.password() && url.scheme() == "https";
  require(!isSecureHTTPSURL(url) || (isPlain && url.host() && !url.host()->empty() && !url.fragment()));
  require(RedirectRule::follows(url) == isPlain);
}

void checkTarget(const URL& url) {
  const auto target = RequestTarget::of(url);
  if (!target) return;
  const auto line = target->originForm();
  require(line.starts_with('/') && isVisible(line) && line.find('#') == std::string::npos);
  require(("/" + url.string()).find(line) != std::string::npos || url.path().empty());
  require(target->isAskedBy(url) == (!url.user() && !url.fragment()));
}

void checkResolved(const URL& base, std::string_view reference) {
  const auto resolved = base.resolve(reference);
  if (!resolved) return;
  checkParts(*resolved, resolved->string());
  checkRules(*resolved);
  checkTarget(*resolved);
  require(resolved->scheme().has_value());
  // Segments go, and with them their escapes; none is added, decoded or changed.
  require(percentSigns(resolved->string()) <= percentSigns(base.string()) + percentSigns(reference));
  require(URL::parse(reference) || reference.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto text = asText({data, size});
  static const URL bases[] = {*URL::parse("https://host/a/b?c"), *URL::parse("https://host"), *URL::parse("s:/a//b%2F"),
                              *URL::parse("s:a%2f/b")};
  for (const auto& base : bases) checkResolved(base, text);
  const auto url = URL::parse(text);
  if (!url) return 0;
  checkParts(*url, text);
  checkRules(*url);
  checkTarget(*url);
  for (const char* reference : {"../x%2F", "/..//x", "?%3f", "", "//h/./", "t:y"}) checkResolved(*url, reference);
  static_cast<void>(url->pathExtension());
  return 0;
}
