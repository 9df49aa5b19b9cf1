#include "frontend/BrindlewickUpdaterMain.h"

#include "frontend/ApplyInstall.h"
#include "frontend/CheckAndStage.h"
#include "frontend/PrepareInstall.h"
#include "frontend/ResponseWriter.h"
#include "frontend/SignManifest.h"
#include "platform/Failure.h"
#include "platform/PlatformError.h"

namespace brindlewick {
namespace {

constexpr std::string_view messageWithoutDescription = "The update check failed safely.";

InspectionTools inspectionTools(const Platform& platform) {
  return {*platform.files, *platform.propertyLists, *platform.codeSigning, *platform.processes};
}

void runCommand(const Platform& platform, CommandList list) {
  const std::string_view word = list.empty() ? std::string_view() : std::string_view(list[0]);
  auto& output = *platform.output;
  if (word == "sign-manifest") {
    writeResponse(output, signManifest(platform, ManifestSigningCommand::parse(list)));
  } else if (word == "prepare-install") {
    const auto command = PrepareInstallCommand::parse(list);
    writeResponse(output, prepareInstall(inspectionTools(platform), command));
  } else if (word == "apply-install") {
    const auto command = ApplyInstallCommand::parse(list);
    applyInstall(inspectionTools(platform), *platform.clock, command);
  } else {
    writeResponse(output, checkAndStage(platform, UpdaterCommand::parse(list)));
  }
}

int fail(const Platform& platform, std::string_view message) {
  writeResponse(*platform.output, UpdateHelperResponse{.message = std::string(message)});
  return 1;
}

}  // namespace

int BrindlewickUpdaterMain::run(const Platform& platform, CommandList list) noexcept {
  try {
    runCommand(platform, list);
    return 0;
  } catch (const DescribedError& error) {
    return fail(platform, error.description());
  } catch (...) {
    return fail(platform, messageWithoutDescription);
  }
}

}  // namespace brindlewick
