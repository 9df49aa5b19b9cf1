#include "install/ToolRunner.h"

#include "install/UpdateInstallError.h"

namespace brindlewick {

Bytes ToolRunner::run(ProcessLauncher& processes, const Path& executable, const std::vector<std::string>& arguments,
                      std::size_t outputByteLimit) {
  auto result = processes.run(executable, arguments, outputByteLimit);
  require(result.succeeded && !result.exceededByteLimit, UpdateInstallError::invalidApplicationBundle);
  return std::move(result.output);
}

}  // namespace brindlewick
