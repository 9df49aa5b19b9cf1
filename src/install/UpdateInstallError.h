#pragma once

#include <string_view>

#include "platform/Failure.h"

namespace brindlewick {

/// Why an update is not installed.
enum class UpdateInstallError {
  invalidCommand,
  parentDidNotExit,
  unsafeArchive,
  unsafePreparation,
  invalidApplicationBundle,
  wrongApplicationIdentity,
  wrongReleaseVersion,
  unsupportedArchitecture,
  invalidCodeSignature,
  wrongSigningTeam,
  gatekeeperRejected,
  destinationNotWritable,
  replacementFailed,
};

/// The sentence for the user.
[[nodiscard]] constexpr std::string_view describe(UpdateInstallError error) noexcept {
  switch (error) {
    case UpdateInstallError::invalidCommand:
      return "The updater install command is invalid.";
    case UpdateInstallError::parentDidNotExit:
      return "Brindlewick did not close in time, so the update was not installed.";
    case UpdateInstallError::unsafeArchive:
      return "The verified update archive has an unsafe layout.";
    case UpdateInstallError::unsafePreparation:
      return "The prepared update is missing or unsafe.";
    case UpdateInstallError::invalidApplicationBundle:
      return "The update does not contain one valid Brindlewick application.";
    case UpdateInstallError::wrongApplicationIdentity:
      return "The update has the wrong application identity.";
    case UpdateInstallError::wrongReleaseVersion:
      return "The application version does not match the signed update manifest.";
    case UpdateInstallError::unsupportedArchitecture:
      return "The update is not a Universal Intel and Apple Silicon application.";
    case UpdateInstallError::invalidCodeSignature:
      return "The update does not have a valid Developer ID signature.";
    case UpdateInstallError::wrongSigningTeam:
      return "The update was not signed by the installed application's team.";
    case UpdateInstallError::gatekeeperRejected:
      return "macOS Gatekeeper did not accept the update.";
    case UpdateInstallError::destinationNotWritable:
      return "Brindlewick cannot safely replace the installed application at its current location.";
    case UpdateInstallError::replacementFailed:
      return "The update could not replace the application; the previous version was restored.";
  }
  return {};
}

}  // namespace brindlewick
