#pragma once

#include "platform/HTTPSSession.h"

namespace brindlewick {

/// The delegate of the whole session: keeps it to https.
class HTTPSOnlySessionDelegate final : public HTTPSSessionDelegate {
 public:
  [[nodiscard]] bool followsRedirect(const std::optional<URL>& proposed) override;
};

}  // namespace brindlewick
