#include "frontend/BrindlewickUpdaterMain.h"

#include "frontend/ApplyInstallCommand.h"
#include "frontend/CheckAndStage.h"
#include "frontend/PrepareInstallCommand.h"
#include "frontend/ResponseWriter.h"
#include "frontend/SignManifest.h"
#include "platform/Failure.h"
#include "platform/PlatformError.h"

namespace brindlewick {
namespace {

constexpr std::string_view messageWithoutDescription = "The update check failed safely.";

void runCommand(const Platform& platform, CommandList list) {
  const std::string_view word = list.empty() ? std::string_view() : std::string_view(list[0]);
  auto& output = *platform.output;
  if (word == "sign-manifest") {
    writeResponse(output, signManifest(platform, ManifestSigningCommand::parse(list)));
  } else if (word == "prepare-install") {
    static_cast<void>(PrepareInstallCommand::parse(list));
    throw PlatformError("install", "an update", std::make_error_code(std::errc::function_not_supported));
  } else if (word == "apply-install") {
    static_cast<void>(ApplyInstallCommand::parse(list));
    throw PlatformError("install", "an update", std::make_error_code(std::errc::function_not_supported));
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
