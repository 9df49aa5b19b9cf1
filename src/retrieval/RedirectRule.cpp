#include "retrieval/RedirectRule.h"

namespace brindlewick {

bool RedirectRule::follows(const std::optional<URL>& proposed) {
  return proposed && proposed->scheme() == "https" && !proposed->user() && !proposed->password();
}

}  // namespace brindlewick
