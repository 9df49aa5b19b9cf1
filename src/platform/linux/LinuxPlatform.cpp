#include <openssl/crypto.h>
#include <sys/stat.h>

#include "platform/Platform.h"
#include "platform/linux/CurlHTTPSSession.h"
#include "platform/linux/EmptyEnvironment.h"
#include "platform/linux/PlistPropertyListReader.h"
#include "platform/linux/ReferenceSystemVersion.h"
#include "platform/linux/codesign/LinuxCodeSigning.h"
#include "platform/posix/DescriptorOutput.h"
#include "platform/posix/Interruption.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "platform/posix/StandardStreams.h"
#include "platform/posix/SystemClock.h"

namespace brindlewick {
namespace {

/// The first call decides for the whole process, and libssl asks for the configuration when libcurl readies it.
void keepOpenSSLFromItsConfiguration() { ::OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr); }

}  // namespace

Platform makePlatform() {
  posix::readyStandardStreams();
  emptyEnvironment();
  keepOpenSSLFromItsConfiguration();
  ::umask(077);
  catchInterruptions();
  Platform platform;
  platform.files = std::make_unique<PosixFileSystem>();
  platform.processes = std::make_unique<PosixProcessLauncher>();
  platform.https = std::make_unique<CurlHTTPSSessionFactory>(*platform.files);
  platform.codeSigning = makeLinuxCodeSigning(builtInTrust());
  platform.propertyLists = std::make_unique<PlistPropertyListReader>();
  platform.clock = std::make_unique<SystemClock>();
  platform.systemVersion = std::make_unique<ReferenceSystemVersion>();
  platform.output = std::make_unique<DescriptorOutput>();
  return platform;
}

}  // namespace brindlewick
