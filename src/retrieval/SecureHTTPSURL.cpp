#include "retrieval/SecureHTTPSURL.h"

namespace brindlewick {

bool isSecureHTTPSURL(const URL& url) {
  return url.scheme() == "https" && url.host() && !url.user() && !url.password() && !url.fragment();
}

}  // namespace brindlewick
