#include "platform/posix/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

namespace brindlewick::posix {

void readyStandardStreams() {
  // The system gives out the lowest free number, so this fills what is closed of 0, 1 and 2 and ends above them.
  int device = -1;
  do {
    device = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  } while (device >= 0 && device <= STDERR_FILENO);
  if (device < 0) return;
  ::dup2(device, STDERR_FILENO);
  ::close(device);
}

}  // namespace brindlewick::posix
