#pragma once

#include <string>
#include <vector>

#include "platform/ProcessLauncher.h"

namespace brindlewick::ToolRunner {

/// Runs one system tool by its absolute path and returns what it printed.
///
/// Throws PlatformError when the tool cannot be started, and Failure<UpdateInstallError> invalidApplicationBundle when
/// it does not end with status 0 or prints more than the limit.
[[nodiscard]] Bytes run(ProcessLauncher& processes, const Path& executable, const std::vector<std::string>& arguments,
                        std::size_t outputByteLimit);

}  // namespace brindlewick::ToolRunner
