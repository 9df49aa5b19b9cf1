#include "frontend/ApplicationRelauncher.h"

namespace brindlewick {

void ApplicationRelauncher::relaunch(ProcessLauncher& processes, const Path& application) noexcept {
  try {
    processes.startDetached(Path("/usr/bin/open"), {"-a", application.string()});
  } catch (...) {
  }
}

}  // namespace brindlewick
