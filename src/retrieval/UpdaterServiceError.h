#pragma once

#include <string_view>

#include "platform/Failure.h"

namespace brindlewick {

/// Why nothing was fetched. `downloadFailed` has its sentence but is never raised: a broken transfer passes on the
/// error of the transport itself.
enum class UpdaterServiceError {
  insecureFeedURL,
  invalidResponse,
  manifestTooLarge,
  artifactTooLarge,
  downloadFailed,
};

/// The sentence for the user.
[[nodiscard]] constexpr std::string_view describe(UpdaterServiceError error) noexcept {
  switch (error) {
    case UpdaterServiceError::insecureFeedURL:
      return "The update feed does not use a secure HTTPS URL.";
    case UpdaterServiceError::invalidResponse:
      return "The update service returned an invalid response.";
    case UpdaterServiceError::manifestTooLarge:
      return "The update manifest exceeded the safety limit.";
    case UpdaterServiceError::artifactTooLarge:
      return "The update artifact exceeded the safety limit.";
    case UpdaterServiceError::downloadFailed:
      return "The update could not be downloaded.";
  }
  return {};
}

}  // namespace brindlewick
