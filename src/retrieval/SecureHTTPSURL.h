#pragma once

#include "platform/URL.h"

namespace brindlewick {

/// Whether a request may be sent to a URL at all: https, with a host, and without user, password and fragment, even
/// empty ones. A query and a port are allowed.
[[nodiscard]] bool isSecureHTTPSURL(const URL& url);

}  // namespace brindlewick
