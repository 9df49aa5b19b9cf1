#include "platform/RequestTarget.h"

#include <limits>

#include "platform/AsciiText.h"

namespace brindlewick {

std::optional<RequestTarget> RequestTarget::of(const URL& url) {
  if (!url.scheme() || !url.host() || url.host()->find('%') != std::string::npos) return std::nullopt;
  RequestTarget target{.scheme = *url.scheme(),
                       .host = *url.host(),
                       .port = std::nullopt,
                       .path = url.path().empty() ? "/" : url.path(),
                       .query = url.query()};
  if (url.port()) {
    const auto number = parseDecimal<std::int32_t>(*url.port());
    if (!number || *number > std::numeric_limits<std::uint16_t>::max()) return std::nullopt;
    target.port = static_cast<std::uint16_t>(*number);
  }
  return target;
}

std::string RequestTarget::originForm() const { return query ? path + "?" + *query : path; }

bool RequestTarget::isAskedBy(const std::optional<URL>& composed) const {
  if (!composed || composed->user() || composed->fragment()) return false;
  auto asked = of(*composed);
  if (!asked || asciiLowercase(asked->host) != asciiLowercase(host)) return false;
  asked->host = host;
  return asked == *this;
}

}  // namespace brindlewick
