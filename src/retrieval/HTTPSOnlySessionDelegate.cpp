#include "retrieval/HTTPSOnlySessionDelegate.h"

#include "retrieval/RedirectRule.h"

namespace brindlewick {

bool HTTPSOnlySessionDelegate::followsRedirect(const std::optional<URL>& proposed) {
  return RedirectRule::follows(proposed);
}

}  // namespace brindlewick
