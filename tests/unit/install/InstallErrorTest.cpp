#include <gtest/gtest.h>

#include "install/UpdateInstallError.h"

namespace brindlewick {
namespace {

TEST(UpdateInstallError, hasItsThirteenSentencesInOrder) {
  const std::string_view sentences[] = {
      "The updater install command is invalid.",
      "Brindlewick did not close in time, so the update was not installed.",
      "The verified update archive has an unsafe layout.",
      "The prepared update is missing or unsafe.",
      "The update does not contain one valid Brindlewick application.",
      "The update has the wrong application identity.",
      "The application version does not match the signed update manifest.",
      "The update is not a Universal Intel and Apple Silicon application.",
      "The update does not have a valid Developer ID signature.",
      "The update was not signed by the installed application's team.",
      "macOS Gatekeeper did not accept the update.",
      "Brindlewick cannot safely replace the installed application at its current location.",
      "The update could not replace the application; the previous version was restored.",
  };
  for (int index = 0; index < 13; ++index)
    EXPECT_EQ(describe(static_cast<UpdateInstallError>(index)), sentences[index]);
  EXPECT_EQ(static_cast<int>(UpdateInstallError::replacementFailed), 12);
}

}  // namespace
}  // namespace brindlewick
