#include "retrieval/HTTPSCappedDownloadDelegate.h"

#include "retrieval/ArtifactDownloadSizePolicy.h"
#include "retrieval/RedirectRule.h"

namespace brindlewick {

bool HTTPSCappedDownloadDelegate::followsRedirect(const std::optional<URL>& proposed) {
  return RedirectRule::follows(proposed);
}

bool HTTPSCappedDownloadDelegate::didWrite(std::uint64_t totalByteCount) {
  if (ArtifactDownloadSizePolicy::allows(totalByteCount)) return true;
  const std::lock_guard guard(lock_);
  exceededLimit_ = true;
  return false;
}

bool HTTPSCappedDownloadDelegate::exceededLimit() const {
  const std::lock_guard guard(lock_);
  return exceededLimit_;
}

}  // namespace brindlewick
