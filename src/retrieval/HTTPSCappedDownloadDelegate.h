#pragma once

#include <mutex>

#include "platform/HTTPSSession.h"

namespace brindlewick {

/// The delegate of one download: cancels it when more bytes have arrived than an archive may have. A platform may call
/// it from a thread of its own.
class HTTPSCappedDownloadDelegate final : public HTTPSDownloadDelegate {
 public:
  [[nodiscard]] bool followsRedirect(const std::optional<URL>& proposed) override;
  [[nodiscard]] bool didWrite(std::uint64_t totalByteCount) override;

  /// Whether the download was cancelled for its size. Once true, it stays true.
  [[nodiscard]] bool exceededLimit() const;

 private:
  mutable std::mutex lock_;
  bool exceededLimit_ = false;
};

}  // namespace brindlewick
