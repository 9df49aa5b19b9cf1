#include <crt_externs.h>
#include <sys/stat.h>

#include "platform/Platform.h"
#include "platform/macos/CoreFoundationPropertyList.h"
#include "platform/macos/MacSystemVersion.h"
#include "platform/macos/SecurityCodeSigning.h"
#include "platform/macos/URLSessionHTTPSSession.h"
#include "platform/posix/DescriptorOutput.h"
#include "platform/posix/Interruption.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "platform/posix/StandardStreams.h"
#include "platform/posix/SystemClock.h"

namespace brindlewick {
namespace {

void emptyEnvironment() {
  if (auto** variables = *::_NSGetEnviron(); variables != nullptr) *variables = nullptr;
}

}  // namespace

Platform makePlatform() {
  posix::readyStandardStreams();
  emptyEnvironment();
  ::umask(077);
  catchInterruptions();
  Platform platform;
  platform.files = std::make_unique<PosixFileSystem>();
  platform.processes = std::make_unique<PosixProcessLauncher>();
  platform.https = std::make_unique<URLSessionHTTPSSessionFactory>(*platform.files);
  platform.codeSigning = std::make_unique<SecurityCodeSigning>();
  platform.propertyLists = std::make_unique<CoreFoundationPropertyList>();
  platform.clock = std::make_unique<SystemClock>();
  platform.systemVersion = std::make_unique<MacSystemVersion>();
  platform.output = std::make_unique<DescriptorOutput>();
  return platform;
}

}  // namespace brindlewick
