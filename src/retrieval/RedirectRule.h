#pragma once

#include <optional>

#include "platform/URL.h"

namespace brindlewick::RedirectRule {

/// Whether a redirect is followed: to https only, on any host, and never with a user or a password. Deliberately
/// narrower than the rule for a feed: host and fragment are not looked at, since servers redirect to fragments and the
/// transport itself refuses a URL without a host.
[[nodiscard]] bool follows(const std::optional<URL>& proposed);

}  // namespace brindlewick::RedirectRule
